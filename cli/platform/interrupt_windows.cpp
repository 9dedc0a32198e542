#include "cli/platform/interrupt_windows.h"

#include "cli/failure.h"
#include "cli/platform/platform.h"

#include <atomic>

// Windows calls what it tells of an interruption on a thread of its own.
namespace tessit::cli::platform {
namespace {

std::atomic<int> deferrals{0};

void note_interrupt()
{
    if (deferrals == 0) {
        TerminateProcess(GetCurrentProcess(), static_cast<UINT>(ExitCode::interrupted));
    }
    SetEvent(interrupt_event());
}

BOOL WINAPI hear_console(DWORD event)
{
    if (is_interrupted()) {
        TerminateProcess(GetCurrentProcess(), static_cast<UINT>(ExitCode::interrupted));
    }
    note_interrupt();
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) {
        Sleep(INFINITE); // the console closes or the user logs off: returning would end the process before its work is
                         // done
    }
    return TRUE;
}

void CALLBACK hear_event(void*, BOOLEAN)
{
    note_interrupt();
}

} // namespace

HANDLE interrupt_event()
{
    static HANDLE const event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    return event;
}

std::wstring interrupt_event_name(DWORD process)
{
    return L"Local\\tessit-interrupt-" + std::to_wstring(process);
}

void listen_for_interrupts()
{
    interrupt_event(); // made before another thread asks for it
    SetConsoleCtrlHandler(&hear_console, TRUE);
    HANDLE const event = CreateEventW(nullptr, FALSE, FALSE, interrupt_event_name(GetCurrentProcessId()).c_str());
    HANDLE wait = nullptr;
    RegisterWaitForSingleObject(&wait, event, &hear_event, nullptr, INFINITE, WT_EXECUTEINWAITTHREAD);
}

struct InterruptDeferral::Handlers
{
};

// No call of Windows that we wait in goes on or ends by itself: those that are to end wait for the event, too.
InterruptDeferral::InterruptDeferral(Wait)
{
    ++deferrals;
}

InterruptDeferral::~InterruptDeferral()
{
    --deferrals;
}

bool is_interrupted()
{
    return WaitForSingleObject(interrupt_event(), 0) == WAIT_OBJECT_0;
}

} // namespace tessit::cli::platform
