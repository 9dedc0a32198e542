#include "cli/platform/process.h"

#include "cli/failure.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace tessit::cli::platform {
namespace {

// The reading end of a pipe, and what has come out of it.
struct Stream
{
    int descriptor = -1;
    std::string text;

    bool is_open() const { return descriptor >= 0; }

    void close()
    {
        if (is_open()) {
            ::close(std::exchange(descriptor, -1));
        }
    }

    // One piece of what is there; at its end the stream is closed.
    void read_some()
    {
        std::array<char, 65536> buffer; // NOLINT(cppcoreguidelines-pro-type-member-init): read fills it
        const ssize_t count = ::read(descriptor, buffer.data(), buffer.size());
        if (count > 0) {
            text.append(buffer.data(), static_cast<std::size_t>(count));
        } else if (count == 0 || (errno != EINTR && errno != EAGAIN)) {
            close();
        }
    }
};

// The writing end, for the program.
int open_stream(Stream& stream)
{
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        return -1;
    }
    stream.descriptor = ends[0];
    return ends[1];
}

// Between fork and exec: nothing that takes memory or a lock.
[[noreturn]] void become(char* const* words, int output, int errors, pid_t parent)
{
    setpgid(0, 0);
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != parent) { // which has ended already
        _exit(EXIT_FAILURE);
    }
    std::signal(SIGINT, SIG_DFL);
    std::signal(SIGTERM, SIG_DFL);
    const int nothing = open("/dev/null", O_RDONLY);
    dup2(nothing, STDIN_FILENO);
    dup2(output, STDOUT_FILENO);
    dup2(errors, STDERR_FILENO);
    if (nothing > STDERR_FILENO) {
        close(nothing);
    }
    execv(words[0], words);
    _exit(127); // as a shell says of a command that it cannot run
}

pid_t start(const std::string& program, const std::vector<std::string>& arguments, int output, int errors)
{
    std::vector<char*> words{const_cast<char*>(program.c_str())}; // execv changes none of them
    for (const std::string& argument : arguments) {
        words.push_back(const_cast<char*>(argument.c_str()));
    }
    words.push_back(nullptr);
    const pid_t parent = getpid();
    const pid_t process = fork();
    if (process == 0) {
        become(words.data(), output, errors, parent);
    }
    return process;
}

} // namespace

struct Process::System
{
    pid_t process = -1;
    Stream output;
    Stream errors;
    bool has_ended = false;
    int status = 0;

    // After both streams have come to their end.
    void look_for_end()
    {
        if (!has_ended && !output.is_open() && !errors.is_open()) {
            while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
            }
            has_ended = true;
        }
    }
};

Process::Process(const std::filesystem::path& program, const std::vector<std::string>& arguments)
    : system_{std::make_unique<System>()}
{
    const int output = open_stream(system_->output);
    const int errors = open_stream(system_->errors);
    if (output >= 0 && errors >= 0) {
        system_->process = start(program, arguments, output, errors);
    }
    const int reason = errno;
    close(output);
    close(errors);
    if (system_->process < 0) {
        system_->output.close();
        system_->errors.close();
        throw Failure{ExitCode::failure, fmt::format("cannot start {}: {}", program.string(), std::strerror(reason)),
                      "Close other programs, or give fewer --jobs."};
    }
    setpgid(system_->process, system_->process); // it may not have come that far
}

Process::~Process()
{
    if (!system_->has_ended) {
        kill(system_->process, SIGTERM);
        while (!system_->has_ended) {
            Process* const self = this;
            wait_for_any({&self, 1}, std::chrono::seconds{1});
        }
    }
}

void Process::interrupt() const
{
    if (!system_->has_ended) {
        kill(system_->process, SIGINT);
    }
}

void Process::wait_for_any(std::span<Process* const> processes, std::chrono::milliseconds longest)
{
    std::vector<Stream*> streams;
    std::vector<pollfd> polled;
    for (Process* const process : processes) {
        for (Stream* const stream : {&process->system_->output, &process->system_->errors}) {
            if (stream->is_open()) {
                streams.push_back(stream);
                polled.push_back({stream->descriptor, POLLIN, 0});
            }
        }
    }
    if (poll(polled.data(), polled.size(), static_cast<int>(longest.count())) > 0) {
        for (std::size_t i = 0; i < polled.size(); ++i) {
            if (polled[i].revents != 0) {
                streams[i]->read_some();
            }
        }
    }
    std::ranges::for_each(processes, [](Process* process) { process->system_->look_for_end(); });
}

std::string Process::take_output()
{
    return std::exchange(system_->output.text, {});
}

std::string Process::take_errors()
{
    return std::exchange(system_->errors.text, {});
}

bool Process::has_ended() const
{
    return system_->has_ended;
}

int Process::exit_code() const
{
    constexpr int signalled = 128;
    return WIFEXITED(system_->status) ? WEXITSTATUS(system_->status) : signalled + WTERMSIG(system_->status);
}

} // namespace tessit::cli::platform
