#pragma once

/// The calling convention of the J-Link library's functions: the platform's standard one.
#if defined(_WIN32) && !defined(_WIN64)
#define JLINK_CALL __stdcall
#else
#define JLINK_CALL
#endif
