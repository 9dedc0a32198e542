/// Ctrl-C and what means the same, between the files of the Windows side.
#pragma once

#include <string>
#include <windows.h>

namespace tessit::cli::platform {

/// Is set from the first interruption on, so that a wait can end with it.
HANDLE interrupt_event();

/// Of an event that interrupts the process of this number when it is set, as Ctrl-C would, also where there is no
/// console.
std::wstring interrupt_event_name(DWORD process);

/// Notes interruptions from now on, by the console and by the event.
void listen_for_interrupts();

} // namespace tessit::cli::platform
