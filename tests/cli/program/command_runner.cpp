#include "tests/cli/program/command_runner.h"

#include <array>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

namespace tessit::cli {
namespace {

struct Pipe
{
    int read_end;
    int write_end;
};

Pipe make_small_pipe()
{
    constexpr int smallest = 4096;
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0 || fcntl(ends[1], F_SETPIPE_SZ, smallest) < 0) {
        throw std::runtime_error{"cannot make a pipe"};
    }
    return {ends[0], ends[1]};
}

[[noreturn]] void become_command(const Arguments& arguments, const Environment& environment, const std::string& input,
                                 int output, int errors)
{
    dup2(open(input.c_str(), O_RDONLY | O_CLOEXEC), STDIN_FILENO);
    dup2(output, STDOUT_FILENO);
    dup2(errors, STDERR_FILENO);
    for (const auto& [name, value] : environment) {
        setenv(name.c_str(), value.c_str(), 1);
    }
    std::string command = TESSIT_COMMAND;
    std::vector<char*> words{command.data()};
    for (const std::string& argument : arguments) {
        words.push_back(const_cast<char*>(argument.c_str())); // execv takes them so, and changes none
    }
    words.push_back(nullptr);
    execv(command.c_str(), words.data());
    _exit(127);
}

std::size_t count_of(const std::string& text, std::string_view part)
{
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size())) {
        ++count;
    }
    return count;
}

} // namespace

RunningCommand::RunningCommand(const Arguments& arguments, const Environment& environment, const std::string& input)
{
    const Pipe output = make_small_pipe();
    const Pipe errors = make_small_pipe();
    process_ = fork();
    if (process_ == 0) {
        become_command(arguments, environment, input, output.write_end, errors.write_end);
    }
    close(output.write_end);
    close(errors.write_end);
    output_ = output.read_end;
    errors_ = errors.read_end;
}

RunningCommand::~RunningCommand()
{
    if (process_ > 0) {
        kill(process_, SIGKILL);
        finish();
    }
}

bool RunningCommand::read_some(int& descriptor, std::string& text)
{
    std::array<char, 512> buffer{};
    const ssize_t count = read(descriptor, buffer.data(), buffer.size());
    if (count <= 0) {
        close(descriptor);
        descriptor = -1;
        return false;
    }
    text.append(buffer.data(), static_cast<std::size_t>(count));
    return true;
}

bool RunningCommand::wait_for(std::string_view text, int count)
{
    while (count_of(outcome_.errors, text) < static_cast<std::size_t>(count)) {
        if (!read_some(errors_, outcome_.errors)) {
            return false;
        }
    }
    return true;
}

void RunningCommand::signal(int number) const
{
    kill(process_, number);
}

Outcome RunningCommand::finish()
{
    while (output_ >= 0 || errors_ >= 0) {
        std::array<pollfd, 2> streams{pollfd{output_, POLLIN, 0}, pollfd{errors_, POLLIN, 0}};
        poll(streams.data(), streams.size(), -1);
        if (streams[0].revents != 0) {
            read_some(output_, outcome_.output);
        }
        if (streams[1].revents != 0) {
            read_some(errors_, outcome_.errors);
        }
    }
    int status = 0;
    waitpid(process_, &status, 0);
    process_ = -1;
    outcome_.exit_code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return outcome_;
}

Outcome run_command(const Arguments& arguments, const Environment& environment, const std::string& input)
{
    return RunningCommand{arguments, environment, input}.finish();
}

} // namespace tessit::cli
