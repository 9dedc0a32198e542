#pragma once

#include "src/frame/export.h"

/// Checks of the exports that ask the J-Link library. Each logs its message and returns its code when it fails.
namespace tessit {

/// A probe session is open.
result_code_t require_probe(const Export& op);

/// The device is still connected, for an operation that `started_by` has begun and that never reconnects.
result_code_t require_connection_kept(const Export& op, std::string_view started_by);

} // namespace tessit
