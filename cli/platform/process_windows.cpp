#include "cli/platform/process.h"

#include "base/wide.h"
#include "cli/failure.h"
#include "cli/platform/interrupt_windows.h"
#include "cli/platform/platform.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <fmt/format.h>
#include <utility>
#include <vector>

namespace tessit::cli::platform {
namespace {

class Handle
{
public:
    explicit Handle(HANDLE value = nullptr) : value_{value == INVALID_HANDLE_VALUE ? nullptr : value} {}
    Handle(const Handle&) = delete;
    Handle& operator=(Handle&& other) noexcept
    {
        std::swap(value_, other.value_);
        return *this;
    }
    ~Handle() { close(); }

    HANDLE get() const { return value_; }
    explicit operator bool() const { return value_ != nullptr; }
    void close()
    {
        if (value_ != nullptr) {
            CloseHandle(std::exchange(value_, nullptr));
        }
    }

private:
    HANDLE value_;
};

SECURITY_ATTRIBUTES inheritable()
{
    SECURITY_ATTRIBUTES attributes{};
    attributes.nLength = sizeof attributes;
    attributes.bInheritHandle = TRUE;
    return attributes;
}

// The reading end of a pipe, and what has come out of it. What a read brings arrives in a wait of this thread in which
// it may be interrupted, see Process::wait_for_any; the next read begins when that is taken. If it began at once, a
// wait would last for as long as one program has more to say, and the others would not be heard.
class Stream
{
public:
    Stream() { under_way_.hEvent = this; } // which is ours to use
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;
    ~Stream()
    {
        if (is_reading_) {
            CancelIo(pipe_.get());
            while (is_reading_) {
                SleepEx(INFINITE, TRUE);
            }
        }
    }

    // The writing end, for the program; null when there is none. Only pipes with a name can be read so.
    HANDLE open()
    {
        static std::atomic<unsigned> number{0};
        const std::wstring name =
            L"\\\\.\\pipe\\tessit-" + std::to_wstring(GetCurrentProcessId()) + L"-" + std::to_wstring(++number);
        pipe_ = Handle{CreateNamedPipeW(name.c_str(),
                                        PIPE_ACCESS_INBOUND | FILE_FLAG_OVERLAPPED | FILE_FLAG_FIRST_PIPE_INSTANCE,
                                        PIPE_TYPE_BYTE | PIPE_REJECT_REMOTE_CLIENTS, 1, 0, buffer_bytes, 0, nullptr)};
        if (!pipe_) {
            return nullptr;
        }
        SECURITY_ATTRIBUTES attributes = inheritable();
        HANDLE const end = CreateFileW(name.c_str(), GENERIC_WRITE, 0, &attributes, OPEN_EXISTING, 0, nullptr);
        if (end == INVALID_HANDLE_VALUE) {
            pipe_.close();
            return nullptr;
        }
        read_more();
        return end;
    }

    bool is_open() const { return static_cast<bool>(pipe_); }

    std::string take()
    {
        if (is_open() && !is_reading_) {
            read_more();
        }
        return std::exchange(text_, {});
    }

private:
    static constexpr DWORD buffer_bytes = 65536;

    void read_more()
    {
        is_reading_ = ReadFileEx(pipe_.get(), buffer_.data(), buffer_bytes, &under_way_, &has_read) != 0;
        if (!is_reading_) {
            pipe_.close();
        }
    }

    static void CALLBACK has_read(DWORD error, DWORD count, OVERLAPPED* read)
    {
        auto& stream = *static_cast<Stream*>(read->hEvent);
        stream.text_.append(stream.buffer_.data(), count);
        stream.is_reading_ = false;
        if (error != ERROR_SUCCESS) { // the program has closed it
            stream.pipe_.close();
        }
    }

    Handle pipe_;
    bool is_reading_ = false;
    OVERLAPPED under_way_{};
    std::vector<char> buffer_ = std::vector<char>(buffer_bytes);
    std::string text_;
};

// As the C run time and CommandLineToArgvW take a command line apart.
std::wstring quoted(const std::wstring& word)
{
    if (!word.empty() && word.find_first_of(L" \t\n\v\"") == std::wstring::npos) {
        return word;
    }
    std::wstring text = L"\"";
    std::size_t backslashes = 0;
    for (const wchar_t c : word) {
        if (c == L'"') {
            text.append(backslashes + 1, L'\\');
        }
        backslashes = c == L'\\' ? backslashes + 1 : 0;
        text += c;
    }
    text.append(backslashes, L'\\');
    return text + L'"';
}

// Processes in it end with the last handle of it, which is ours.
HANDLE job()
{
    static HANDLE const job = [] {
        HANDLE const made = CreateJobObjectW(nullptr, nullptr);
        JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
        limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
        SetInformationJobObject(made, JobObjectExtendedLimitInformation, &limits, sizeof limits);
        return made;
    }();
    return job;
}

// What a program is started with: it inherits these handles and no others.
class Inheritance
{
public:
    explicit Inheritance(std::array<HANDLE, 3> streams) : streams_{streams}
    {
        SIZE_T size = 0;
        InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
        memory_.resize(size);
        InitializeProcThreadAttributeList(list(), 1, 0, &size);
        UpdateProcThreadAttribute(list(), 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, streams_.data(),
                                  streams_.size() * sizeof(HANDLE), nullptr, nullptr);
        startup_.StartupInfo.cb = sizeof startup_;
        startup_.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
        startup_.StartupInfo.hStdInput = streams_[0];
        startup_.StartupInfo.hStdOutput = streams_[1];
        startup_.StartupInfo.hStdError = streams_[2];
        startup_.lpAttributeList = list();
    }
    Inheritance(const Inheritance&) = delete;
    Inheritance& operator=(const Inheritance&) = delete;
    ~Inheritance() { DeleteProcThreadAttributeList(list()); }

    STARTUPINFOW* startup() { return &startup_.StartupInfo; }

private:
    LPPROC_THREAD_ATTRIBUTE_LIST list() { return reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(memory_.data()); }

    std::array<HANDLE, 3> streams_;
    std::vector<char> memory_;
    STARTUPINFOEXW startup_{};
};

// Null when it cannot be started. It begins when it is one of the job.
HANDLE start(const std::filesystem::path& program, const std::vector<std::string>& arguments,
             std::array<HANDLE, 3> streams)
{
    std::wstring command_line = quoted(program.native());
    for (const std::string& argument : arguments) {
        command_line += L' ' + quoted(base::wide(argument));
    }
    Inheritance inheritance{streams};
    PROCESS_INFORMATION process{};
    if (CreateProcessW(program.c_str(), command_line.data(), nullptr, nullptr, TRUE,
                       CREATE_NEW_PROCESS_GROUP | CREATE_SUSPENDED | EXTENDED_STARTUPINFO_PRESENT, nullptr, nullptr,
                       inheritance.startup(), &process) == 0) {
        return nullptr;
    }
    AssignProcessToJobObject(job(), process.hProcess);
    ResumeThread(process.hThread);
    CloseHandle(process.hThread);
    return process.hProcess;
}

} // namespace

struct Process::System
{
    Handle process;
    Handle interruption; ///< the event that it listens for
    Stream output;
    Stream errors;
    bool has_ended = false;

    // After both streams have come to their end.
    bool look_for_end()
    {
        if (!has_ended && !output.is_open() && !errors.is_open()) {
            WaitForSingleObject(process.get(), INFINITE);
            has_ended = true;
        }
        return has_ended;
    }
};

Process::Process(const std::filesystem::path& program, const std::vector<std::string>& arguments)
    : system_{std::make_unique<System>()}
{
    SECURITY_ATTRIBUTES attributes = inheritable();
    const Handle nothing{CreateFileW(L"NUL", GENERIC_READ, FILE_SHARE_READ, &attributes, OPEN_EXISTING, 0, nullptr)};
    const Handle output{system_->output.open()};
    const Handle errors{system_->errors.open()};
    DWORD reason = GetLastError();
    if (output && errors) {
        system_->process = Handle{start(program, arguments, {nothing.get(), output.get(), errors.get()})};
        reason = GetLastError();
    }
    if (!system_->process) {
        const std::error_code code{static_cast<int>(reason), std::system_category()};
        throw Failure{ExitCode::failure,
                      fmt::format("cannot start {}: {}", program.string(), code.default_error_condition().message()),
                      "Close other programs, or give fewer --jobs."};
    }
    const std::wstring event = interrupt_event_name(GetProcessId(system_->process.get()));
    system_->interruption = Handle{CreateEventW(nullptr, FALSE, FALSE, event.c_str())};
}

Process::~Process()
{
    interrupt();
    while (!system_->has_ended) {
        system_->output.take();
        system_->errors.take();
        Process* const self = this;
        wait_for_any({&self, 1}, std::chrono::seconds{1});
    }
}

void Process::interrupt() const
{
    if (!system_->has_ended) {
        SetEvent(system_->interruption.get());
    }
}

void Process::wait_for_any(std::span<Process* const> processes, std::chrono::milliseconds longest)
{
    const auto look_for_end = [](Process* process) { return process->system_->look_for_end(); };
    if (std::ranges::any_of(processes, look_for_end)) {
        return;
    }
    // What streams have read is delivered in this wait, and ends it. A wait for what is set already delivers nothing.
    const auto wait = static_cast<DWORD>(longest.count());
    if (is_interrupted()) {
        SleepEx(wait, TRUE);
    } else {
        WaitForSingleObjectEx(interrupt_event(), wait, TRUE);
    }
    std::ranges::for_each(processes, look_for_end);
}

std::string Process::take_output()
{
    return system_->output.take();
}

std::string Process::take_errors()
{
    return system_->errors.take();
}

bool Process::has_ended() const
{
    return system_->has_ended;
}

int Process::exit_code() const
{
    DWORD code = 0;
    GetExitCodeProcess(system_->process.get(), &code);
    return static_cast<int>(code);
}

} // namespace tessit::cli::platform
