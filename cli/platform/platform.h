/// What the command asks of the operating system; each system has its own files beside this one. Texts and names of
/// files are UTF-8 on every system.
#pragma once

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tessit::cli::platform {

/// The words of the command line, with the program's name.
std::vector<std::string> arguments(int argc, char** argv);

/// The program that this process is; throws a Failure where the system does not tell.
std::filesystem::path executable();

/// Folder of the user's configuration files; empty when the environment names none.
std::filesystem::path user_config_folder();

/// File name of the simulated J-Link library.
extern const char* const simulation_file_name;

/// Where installers of the J-Link software put its library.
struct JlinkInstallations
{
    const char* file_name;
    std::vector<std::filesystem::path> in_use;          ///< folders of the version that is in use by its own account
    std::vector<std::filesystem::path> parents;         ///< folders in which versions lie beside each other, as JLink*
    std::vector<std::filesystem::path> library_folders; ///< of the system
};
JlinkInstallations jlink_installations();

/// Of an output stream: one that understands escape sequences.
bool is_terminal(std::FILE* stream);

/// Columns of the terminal, 80 where it does not tell.
std::size_t terminal_width(std::FILE* stream);
/// Its lines, 24 where it does not tell.
std::size_t terminal_height(std::FILE* stream);

/// Standard streams that the caller closed are opened on nothing, so that no file of ours takes their place; writing to
/// them fails. Bytes go through the streams unchanged, and a console shows UTF-8. To be called before any file is
/// opened.
void prepare_standard_streams();

/// A new file beside `target`, of a name that nobody can foresee, opened for writing: with the target's permissions, or
/// those of any new file. Null, with errno set, when it cannot be made.
std::FILE* create_beside(const std::filesystem::path& target, std::filesystem::path& created);

/// Puts a file in the place of another one, or where there is none, at once. 0, or the system's error number.
int replace_file(const std::filesystem::path& from, const std::filesystem::path& to);

/// Adds a line to the end of a file, which is made where there is none, whole or not at all, whoever else does so at
/// the same time. 0, or the system's error number.
int append_line(const std::filesystem::path& path, std::string_view line);

/// A new folder for temporary files that only this user reaches. Throws a Failure.
std::filesystem::path make_private_folder(std::string_view prefix);

/// Whether an existing file may be written.
bool is_writable(const std::filesystem::path& path);

/// A line of standard input without its end; empty at the end of the input and when Ctrl-C is pressed.
std::string read_line();

/// What standard input has had to say.
struct Input
{
    std::size_t length = 0; ///< bytes in the buffer
    bool has_ended = false;
};

/// What is there now, up to the size of the buffer. Waits for it at most so long; Ctrl-C cuts the wait short.
Input read_input(std::span<char> buffer, std::chrono::milliseconds wait);

/// Writing to a closed pipe becomes an ordinary write error.
void ignore_closed_pipes();

/// Ctrl-C and a request to terminate end the process at once, except while one of these lives: then they are noted, and
/// only a second one does.
class InterruptDeferral
{
public:
    enum class Wait
    {
        goes_on, ///< a call that waits for the system is not cut short
        ends,    ///< it fails
    };

    explicit InterruptDeferral(Wait wait);
    InterruptDeferral(const InterruptDeferral&) = delete;
    InterruptDeferral& operator=(const InterruptDeferral&) = delete;
    ~InterruptDeferral();

private:
    struct Handlers;
    std::unique_ptr<Handlers> previous_;
};

bool is_interrupted();

/// The name by which the library here finds a J-Link library; each system's loader has its own needs. Throws a Failure
/// where there is none.
std::string loadable_name(const std::filesystem::path& path);

/// A shared library that is loaded until the object goes. The constructor throws a Failure with the system's reason.
class Module
{
public:
    explicit Module(const std::filesystem::path& path);
    Module(const Module&) = delete;
    Module& operator=(const Module&) = delete;
    ~Module();

    /// Null when the library has no such function.
    void* find(const char* name) const;

private:
    void* handle_;
};

} // namespace tessit::cli::platform
