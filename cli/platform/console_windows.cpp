#include "base/wide.h"
#include "cli/platform/interrupt_windows.h"
#include "cli/platform/platform.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <fcntl.h>
#include <io.h>
#include <string_view>

// Older headers do not have it.
#ifndef ENABLE_VIRTUAL_TERMINAL_PROCESSING
#define ENABLE_VIRTUAL_TERMINAL_PROCESSING 0x0004
#endif

namespace tessit::cli::platform {
namespace {

HANDLE handle_of(std::FILE* stream)
{
    const int descriptor = _fileno(stream);
    return descriptor < 0 ? INVALID_HANDLE_VALUE : reinterpret_cast<HANDLE>(_get_osfhandle(descriptor));
}

UINT previous_output_code_page = 0;

void use_utf8_on_console()
{
    previous_output_code_page = GetConsoleOutputCP();
    if (previous_output_code_page != 0 && SetConsoleOutputCP(CP_UTF8) != 0) {
        std::atexit([] { SetConsoleOutputCP(previous_output_code_page); });
    }
}

// Some consoles take the mode and show the sequences all the same: one without an effect tells, which is then wiped
// out.
bool shows_escape_sequences(HANDLE console)
{
    constexpr std::wstring_view no_effect = L"\x1b[m";
    constexpr DWORD length = no_effect.size();
    CONSOLE_SCREEN_BUFFER_INFO before{};
    CONSOLE_SCREEN_BUFFER_INFO after{};
    DWORD done = 0;
    GetConsoleScreenBufferInfo(console, &before);
    WriteConsoleW(console, no_effect.data(), length, &done, nullptr);
    GetConsoleScreenBufferInfo(console, &after);
    const COORD at = before.dwCursorPosition;
    if (after.dwCursorPosition.X == at.X && after.dwCursorPosition.Y == at.Y) {
        return false;
    }
    SetConsoleCursorPosition(console, at);
    FillConsoleOutputCharacterW(console, L' ', length, at, &done);
    return true;
}

void use_escape_sequences(std::FILE* stream)
{
    HANDLE const console = handle_of(stream);
    DWORD mode = 0;
    if (GetConsoleMode(console, &mode) == 0) {
        return;
    }
    if (SetConsoleMode(console, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING) != 0 && shows_escape_sequences(console)) {
        SetConsoleMode(console, mode & ~DWORD{ENABLE_VIRTUAL_TERMINAL_PROCESSING});
    }
}

SMALL_RECT window_of(std::FILE* stream)
{
    CONSOLE_SCREEN_BUFFER_INFO info{};
    const bool is_known = GetConsoleScreenBufferInfo(handle_of(stream), &info) != 0;
    constexpr SMALL_RECT usual{0, 0, 79, 23};
    return is_known ? info.srWindow : usual;
}

// Reads standard input on a thread of its own, because a wait for a console, a file or a pipe is another one each, and
// only reading works for all. It reads a piece when the one before has been taken. Neither is ever destroyed: the
// thread may be in the middle of a read when the process ends.
class InputReader
{
public:
    static InputReader& instance()
    {
        static auto* const reader = new InputReader;
        return *reader;
    }

    Input take(std::span<char> buffer, DWORD wait)
    {
        if (!is_piece_here_) {
            const std::array<HANDLE, 2> events{has_read_, interrupt_event()};
            if (WaitForMultipleObjects(events.size(), events.data(), FALSE, wait) != WAIT_OBJECT_0) {
                return {};
            }
            is_piece_here_ = true;
        }
        if (has_ended_) {
            return {0, true};
        }
        const std::size_t length = std::min(buffer.size(), piece_.size() - taken_);
        std::copy_n(piece_.begin() + static_cast<std::ptrdiff_t>(taken_), length, buffer.begin());
        taken_ += length;
        if (taken_ == piece_.size()) {
            taken_ = 0;
            is_piece_here_ = false;
            SetEvent(may_read_);
        }
        return {length, false};
    }

private:
    InputReader() { CloseHandle(CreateThread(nullptr, 0, &run_thread, this, 0, nullptr)); }

    static DWORD WINAPI run_thread(void* self)
    {
        static_cast<InputReader*>(self)->run();
        return 0;
    }

    void run()
    {
        while (!has_ended_) {
            has_ended_ = !read_piece();
            SetEvent(has_read_);
            WaitForSingleObject(may_read_, INFINITE);
        }
    }

    bool read_piece()
    {
        DWORD mode = 0;
        return GetConsoleMode(input_, &mode) != 0 ? read_console() : read_bytes();
    }

    bool read_bytes()
    {
        DWORD length = 0;
        piece_.resize(piece_bytes);
        const bool has_read = ReadFile(input_, piece_.data(), static_cast<DWORD>(piece_.size()), &length, nullptr) != 0;
        piece_.resize(has_read ? length : 0);
        return !piece_.empty();
    }

    // Characters, because a console has other bytes on each version of Windows. Ctrl-Z at the begin of a line is the
    // end.
    bool read_console()
    {
        std::array<wchar_t, 1024> line{};
        DWORD length = 0;
        while (length == 0) {
            if (ReadConsoleW(input_, line.data(), static_cast<DWORD>(line.size()), &length, nullptr) == 0) {
                return false;
            }
        }
        constexpr wchar_t ctrl_z = L'\x1A';
        piece_ = base::utf8({line.data(), length});
        std::erase(piece_, '\r');
        return line.front() != ctrl_z;
    }

    static constexpr std::size_t piece_bytes = 65536;

    HANDLE input_ = GetStdHandle(STD_INPUT_HANDLE);
    HANDLE has_read_ = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    HANDLE may_read_ = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    // The thread's from a set may_read_ to a set has_read_, else the caller's.
    std::string piece_;
    bool has_ended_ = false;
    // The caller's.
    bool is_piece_here_ = false;
    std::size_t taken_ = 0;
};

} // namespace

bool is_terminal(std::FILE* stream)
{
    DWORD mode = 0;
    const bool is_console = GetConsoleMode(handle_of(stream), &mode) != 0;
    return is_console && (stream == stdin || (mode & ENABLE_VIRTUAL_TERMINAL_PROCESSING) != 0);
}

std::size_t terminal_width(std::FILE* stream)
{
    const SMALL_RECT window = window_of(stream);
    return static_cast<std::size_t>(window.Right - window.Left + 1);
}

std::size_t terminal_height(std::FILE* stream)
{
    const SMALL_RECT window = window_of(stream);
    return static_cast<std::size_t>(window.Bottom - window.Top + 1);
}

void prepare_standard_streams()
{
    for (std::FILE* const stream : {stdin, stdout, stderr}) {
        if (handle_of(stream) == INVALID_HANDLE_VALUE) {
            std::freopen("NUL", "rb", stream);
        }
        _setmode(_fileno(stream), _O_BINARY);
    }
    std::setvbuf(stderr, nullptr, _IONBF, 0); // not every run time does
    use_utf8_on_console();
    use_escape_sequences(stdout);
    use_escape_sequences(stderr);
    listen_for_interrupts();
}

std::string read_line()
{
    const InterruptDeferral deferral{InterruptDeferral::Wait::ends};
    std::array<char, 256> buffer{};
    const Input input = InputReader::instance().take(buffer, INFINITE);
    std::string line{buffer.data(), input.length};
    line.erase(line.find_last_not_of(" \r\n") + 1);
    return line;
}

Input read_input(std::span<char> buffer, std::chrono::milliseconds wait)
{
    return InputReader::instance().take(buffer, static_cast<DWORD>(wait.count()));
}

void ignore_closed_pipes() {} // they are ordinary write errors here

} // namespace tessit::cli::platform
