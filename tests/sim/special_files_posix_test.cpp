// What a file can be besides a file, and processes that are killed, as POSIX has them.
#include "tests/sim/target_session.h"

#include <array>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <string>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tessit_test {
namespace {

using testing::HasSubstr;

TEST(BenchFile, thatIsNoRegularFileIsRefused)
{
    const TempFolder folder;
    ASSERT_EQ(::mkfifo((folder.path() / "pipe").c_str(), 0600), 0);
    const std::string path = folder.path() / "bench.toml";
    for (const std::string file : {"/dev/zero", "pipe"}) {
        folder.write("bench.toml", TempBench::chip_toml("BIRCH_M1_VA_REV2", "flash_file = \"" + file + "\"\n"));
        EXPECT_LT(JLINKSIM_open_bench(path.c_str()), 0) << file;
        EXPECT_THAT(JLINKSIM_error_text(), HasSubstr(file + ": it is not a regular file"));
        const std::string bench = folder.path() / file;
        EXPECT_LT(JLINKSIM_open_bench(bench.c_str()), 0) << bench;
        EXPECT_THAT(JLINKSIM_error_text(), testing::AllOf(HasSubstr(bench), HasSubstr("not a regular file")));
    }
}

/// Another process, started without any of the standard streams, that has the bench's probe open until it is killed.
class OtherProcess
{
public:
    explicit OtherProcess(const TempBench& bench)
    {
        int ends[2] = {-1, -1};
        EXPECT_EQ(::pipe(ends), 0);
        pid_ = ::fork();
        if (pid_ == 0) {
            for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
                ::close(stream);
            }
            const bool holds = JLINKSIM_open_bench(bench.path().c_str()) == 0 && open_probe();
            if (holds && ::fcntl(STDIN_FILENO, F_GETFD) < 0) { // nothing was opened in a stream's place
                std::ignore = ::write(ends[1], "x", 1);
                ::pause();
            }
            ::_exit(1);
        }
        ::close(ends[1]);
        char byte = 0;
        EXPECT_EQ(::read(ends[0], &byte, 1), 1) << "the other process ended early";
        ::close(ends[0]);
    }
    OtherProcess(const OtherProcess&) = delete;
    OtherProcess& operator=(const OtherProcess&) = delete;
    ~OtherProcess() { kill_now(); }

    pid_t pid() const { return pid_; }
    void kill_now()
    {
        if (pid_ > 0) {
            ::kill(pid_, SIGKILL);
            ::waitpid(pid_, nullptr, 0);
            pid_ = -1;
        }
    }

private:
    pid_t pid_ = -1;
};

TEST(State, givesAProbeToOneProcessAtATime)
{
    const TempBench bench = TempBench::with_chip("BIRCH_M1_VA_REV2", "protected = true\n");
    OtherProcess holder{bench};
    EXPECT_THAT(JLINKARM_OpenEx(nullptr, nullptr),
                testing::AllOf(HasSubstr("600000011"), HasSubstr(std::to_string(holder.pid()))));
    EXPECT_LT(JLINKSIM_power_cycle(TempBench::serial_number), 0);
    EXPECT_LT(JLINKSIM_factory_reset(TempBench::serial_number), 0);
    // Looking is free.
    jlinksim_probe_t probe{};
    ASSERT_EQ(JLINKSIM_describe_probe(0, &probe), 0) << JLINKSIM_error_text();
    EXPECT_EQ(probe.in_use, 1U);
    EXPECT_EQ(probe.chip_protected, 1U);

    holder.kill_now();
    ASSERT_EQ(JLINKSIM_describe_probe(0, &probe), 0);
    EXPECT_EQ(probe.in_use, 0U);
    EXPECT_TRUE(open_probe());
    ASSERT_EQ(JLINKSIM_describe_probe(0, &probe), 0);
    EXPECT_EQ(probe.in_use, 1U) << "by this process";
}

/// Puts something in the place of a file of the state.
struct Obstacle
{
    const char* file;
    void (*put)(const std::filesystem::path& path);
    const char* reason;
};

void put_pipe(const std::filesystem::path& path)
{
    std::filesystem::remove(path);
    ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
}

void put_link(const std::filesystem::path& path)
{
    const std::filesystem::path victim = path.parent_path() / "victim";
    std::filesystem::rename(path, victim);
    std::filesystem::create_symlink(victim, path);
}

TEST(State, whoseFilesCannotBeTrustedIsRefusedByName)
{
    const auto cut = [](const std::filesystem::path& path) { std::filesystem::resize_file(path, 100); };
    const auto remove = [](const std::filesystem::path& path) { std::filesystem::remove(path); };
    const auto put_folder = [](const std::filesystem::path& path) {
        std::filesystem::remove(path);
        std::filesystem::create_directory(path);
    };
    const std::array obstacles{
        Obstacle{"lock", put_pipe, "not a regular file"},     Obstacle{"lock", put_link, "a symbolic link"},
        Obstacle{"lock", put_folder, "Is a directory"},       Obstacle{"chip.txt", put_pipe, "not a regular file"},
        Obstacle{"chip.txt", put_link, "a symbolic link"},    Obstacle{"flash.bin", put_pipe, "not a regular file"},
        Obstacle{"flash.bin", put_link, "a symbolic link"},   Obstacle{"flash.bin", cut, "100 bytes instead of 524288"},
        Obstacle{"flash.bin", remove, "No such file"},        Obstacle{"", put_link, "Not a directory"},
        Obstacle{"registers.bin", put_link, "symbolic link"},
    };
    for (const Obstacle& obstacle : obstacles) {
        const HaltedChip bench;
        close_probe();
        std::filesystem::path path = bench.path() + ".state/600000011";
        if (*obstacle.file != '\0') {
            path /= obstacle.file;
        }
        obstacle.put(path);
        EXPECT_THAT(JLINKARM_OpenEx(nullptr, nullptr),
                    testing::AllOf(HasSubstr("state folder"), HasSubstr(path.string()), HasSubstr(obstacle.reason)));
        jlinksim_probe_t probe{};
        EXPECT_LT(JLINKSIM_describe_probe(0, &probe), 0) << path;
        EXPECT_STREQ(probe.chip_version, "BIRCH_M1_VA_REV2");
    }
}

TEST(State, isForItsUserOnly)
{
    const TempBench bench = TempBench::with_chip("BIRCH_M2_VA_REV1", "external_flash = { size = 65536 }\n");
    const std::filesystem::path folder = bench.path() + ".state/600000011";
    std::filesystem::create_directories(folder);
    bench.folder().write("bench.toml.state/600000011/flash.bin", "left by a looser version");
    const mode_t before = ::umask(0);
    connect_halted();
    ::umask(before);
    const auto others = [](const std::filesystem::path& path) {
        using enum std::filesystem::perms;
        return std::filesystem::status(path).permissions() & (group_all | others_all);
    };
    EXPECT_EQ(others(folder), std::filesystem::perms::none);
    for (const std::filesystem::directory_entry& file : std::filesystem::directory_iterator{folder}) {
        EXPECT_EQ(others(file.path()), std::filesystem::perms::none) << file.path();
    }
}

TEST(State, namesNoProcessThatDoesNotHoldTheProbe)
{
    const HaltedChip bench;
    close_probe();
    bench.folder().write("bench.toml.state/600000011/lock", "1\n");
    const int lock = ::open((bench.path() + ".state/600000011/lock").c_str(), O_RDWR);
    ASSERT_EQ(::flock(lock, LOCK_EX | LOCK_NB), 0);
    EXPECT_THAT(JLINKARM_OpenEx(nullptr, nullptr), HasSubstr("in use by another process."));
    ::close(lock);
}

} // namespace
} // namespace tessit_test
