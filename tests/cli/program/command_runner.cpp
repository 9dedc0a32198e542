#include "tests/cli/program/command_runner.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <stdexcept>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tessit::cli {
namespace {

[[noreturn]] void become_command(const Arguments& arguments, const Environment& environment, const std::string& input,
                                 int output, int errors)
{
    std::signal(SIGINT, SIG_DFL); // a shell ignores it for what it runs in the background
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

} // namespace

RunningCommand::RunningCommand(const Arguments& arguments, const Environment& environment, const std::string& input)
    : output_{memfd_create("output", MFD_CLOEXEC)}
{
    constexpr int smallest = 4096;
    std::array<int, 2> errors{};
    if (output_ < 0 || pipe2(errors.data(), O_CLOEXEC) != 0 || fcntl(errors[1], F_SETPIPE_SZ, smallest) < 0) {
        throw std::runtime_error{"cannot make the streams of a command"};
    }
    process_ = fork();
    if (process_ == 0) {
        become_command(arguments, environment, input, output_, errors[1]);
    }
    close(errors[1]);
    errors_ = errors[0];
}

RunningCommand::~RunningCommand()
{
    if (process_ > 0) {
        kill(process_, SIGKILL);
        finish();
    }
}

bool RunningCommand::read_some(int descriptor, std::string& text)
{
    std::array<char, 4096> buffer{};
    const ssize_t count = read(descriptor, buffer.data(), buffer.size());
    text.append(buffer.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    return count > 0;
}

bool RunningCommand::wait_for(std::string_view text, int count)
{
    std::size_t seen = 0; // up to here
    while (count > 0) {
        if (const std::size_t at = outcome_.errors.find(text, seen); at != std::string::npos) {
            seen = at + text.size();
            --count;
        } else if (!read_some(errors_, outcome_.errors)) {
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
    while (read_some(errors_, outcome_.errors)) {
    }
    int status = 0;
    waitpid(process_, &status, 0);
    process_ = -1;
    lseek(output_, 0, SEEK_SET);
    while (read_some(output_, outcome_.output)) {
    }
    close(output_);
    close(errors_);
    outcome_.exit_code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return outcome_;
}

Outcome run_command(const Arguments& arguments, const Environment& environment, const std::string& input)
{
    return RunningCommand{arguments, environment, input}.finish();
}

} // namespace tessit::cli
