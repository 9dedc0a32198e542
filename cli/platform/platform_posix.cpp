#include "cli/platform/platform.h"

#include "base/environment.h"
#include "cli/failure.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace tessit::cli::platform {
namespace {

namespace fs = std::filesystem;
using base::environment;

volatile std::sig_atomic_t interrupt_flag = 0; // a signal handler can reach nothing else

void note_interrupt(int)
{
    interrupt_flag = 1;
}

#if defined(__APPLE__)
constexpr const char* jlink_file_name = "libjlinkarm.dylib";
constexpr const char* jlink_parent = "/Applications/SEGGER";
#else
constexpr const char* jlink_file_name = "libjlinkarm.so";
constexpr const char* jlink_parent = "/opt/SEGGER";
#endif

} // namespace

#if defined(__APPLE__)
const char* const simulation_file_name = "libjlinkarm_sim.dylib";
#else
const char* const simulation_file_name = "libjlinkarm_sim.so";
#endif

std::vector<std::string> arguments(int argc, char** argv)
{
    return {argv, argv + argc};
}

fs::path executable()
{
    constexpr const char* told_by = "/proc/self/exe";
    std::error_code error;
    fs::path program = fs::read_symlink(told_by, error);
    if (error) {
        throw Failure{ExitCode::failure,
                      fmt::format("cannot find out where this program lies: {}: {}", told_by, error.message()),
                      "Mount /proc: what belongs to the command is looked for beside it."};
    }
    return program;
}

fs::path user_config_folder()
{
    // A relative one would name another folder wherever the command is started.
    if (fs::path folder = environment("XDG_CONFIG_HOME"); folder.is_absolute()) {
        return folder;
    }
    const fs::path home = environment("HOME");
    return home.is_absolute() ? home / ".config" : fs::path{};
}

JlinkInstallations jlink_installations()
{
    return {jlink_file_name, {fs::path{jlink_parent} / "JLink"}, {jlink_parent}, {"/usr/local/lib", "/usr/lib"}};
}

bool is_terminal(std::FILE* stream)
{
    return isatty(fileno(stream)) != 0;
}

std::size_t terminal_width(std::FILE* stream)
{
    constexpr std::size_t usual = 80;
    winsize size{};
    return ioctl(fileno(stream), TIOCGWINSZ, &size) == 0 && size.ws_col != 0 ? size.ws_col : usual;
}

std::size_t terminal_height(std::FILE* stream)
{
    constexpr std::size_t usual = 24;
    winsize size{};
    return ioctl(fileno(stream), TIOCGWINSZ, &size) == 0 && size.ws_row != 0 ? size.ws_row : usual;
}

void prepare_standard_streams()
{
    // The lowest free descriptor is the one that is closed. None of them can be written.
    for (int opened = open("/dev/null", O_RDONLY); opened >= 0; opened = open("/dev/null", O_RDONLY)) {
        if (opened > STDERR_FILENO) {
            close(opened);
            return;
        }
    }
}

std::FILE* create_beside(const fs::path& target, fs::path& created)
{
    std::string name = fs::path{target}.concat(".XXXXXX").string();
    const int descriptor = mkostemp(name.data(), O_CLOEXEC);
    if (descriptor < 0) {
        return nullptr;
    }
    created = name;
    struct stat existing = {};
    const bool exists = stat(target.c_str(), &existing) == 0;
    const mode_t mask = umask(0);
    umask(mask);
    constexpr mode_t permissions = 07777;
    constexpr mode_t of_new_files = 0666;
    fchmod(descriptor, exists ? existing.st_mode & permissions : of_new_files & ~mask);
    return fdopen(descriptor, "wb");
}

int replace_file(const fs::path& from, const fs::path& to)
{
    return std::rename(from.c_str(), to.c_str()) == 0 ? 0 : errno;
}

int append_line(const fs::path& path, std::string_view line)
{
    constexpr mode_t of_new_files = 0666;
    const int descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, of_new_files);
    if (descriptor < 0) {
        return errno;
    }
    flock(descriptor, LOCK_EX);
    struct stat before = {};
    fstat(descriptor, &before);
    const ssize_t count = write(descriptor, line.data(), line.size());
    int error = count < 0 ? errno : 0;
    if (count >= 0 && static_cast<std::size_t>(count) != line.size()) { // the disk is full
        error = ftruncate(descriptor, before.st_size) == 0 ? ENOSPC : errno;
    }
    return close(descriptor) == 0 ? error : errno;
}

fs::path make_private_folder(std::string_view prefix)
{
    std::error_code error;
    const fs::path folder = fs::temp_directory_path(error);
    std::string name = (folder / prefix).string() + ".XXXXXX";
    if (!error && mkdtemp(name.data()) == nullptr) {
        error.assign(errno, std::generic_category());
    }
    if (error) {
        throw Failure{ExitCode::failure, fmt::format("cannot make a folder for temporary files: {}", error.message()),
                      "The environment variable TMPDIR names where it is to be."};
    }
    return name;
}

bool is_writable(const fs::path& path)
{
    return access(path.c_str(), W_OK) == 0;
}

std::string read_line()
{
    const InterruptDeferral deferral{InterruptDeferral::Wait::ends};
    std::array<char, 256> buffer{};
    const bool has_line = std::fgets(buffer.data(), static_cast<int>(buffer.size()), stdin) != nullptr;
    std::string line = has_line ? buffer.data() : "";
    line.erase(line.find_last_not_of(" \r\n") + 1);
    return line;
}

Input read_input(std::span<char> buffer, std::chrono::milliseconds wait)
{
    pollfd input{STDIN_FILENO, POLLIN, 0};
    if (poll(&input, 1, static_cast<int>(wait.count())) <= 0) {
        return {};
    }
    const ssize_t count = read(STDIN_FILENO, buffer.data(), buffer.size());
    if (count < 0) {
        return {0, errno != EINTR && errno != EAGAIN};
    }
    return {static_cast<std::size_t>(count), count == 0};
}

void ignore_closed_pipes()
{
    std::signal(SIGPIPE, SIG_IGN);
}

struct InterruptDeferral::Handlers
{
    struct sigaction interrupt = {};
    struct sigaction terminate = {};
};

InterruptDeferral::InterruptDeferral(Wait wait) : previous_{std::make_unique<Handlers>()}
{
    struct sigaction action = {};
    action.sa_handler = &note_interrupt;
    action.sa_flags = static_cast<int>(SA_RESETHAND) | (wait == Wait::goes_on ? SA_RESTART : 0);
    sigaction(SIGINT, &action, &previous_->interrupt);
    sigaction(SIGTERM, &action, &previous_->terminate);
}

InterruptDeferral::~InterruptDeferral()
{
    sigaction(SIGINT, &previous_->interrupt, nullptr);
    sigaction(SIGTERM, &previous_->terminate, nullptr);
}

bool is_interrupted()
{
    return interrupt_flag != 0;
}

std::string loadable_name(const fs::path& path)
{
    return path.string();
}

} // namespace tessit::cli::platform
