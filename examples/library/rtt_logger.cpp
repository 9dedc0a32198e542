// Starts the firmware and shows what it says on RTT channel 0, until a line holds LAST_WORDS or the firmware is gone.
//
//   rtt_logger JLINK_LIBRARY LAST_WORDS
#include <array>
#include <chrono>
#include <iostream>
#include <jlinkarm_birch_tessit.h>
#include <numeric>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

void check(result_code_t result, const std::string& what)
{
    if (result != RESULT_OK) {
        throw std::runtime_error{"cannot " + what + ": result " + std::to_string(result)};
    }
}

// The library with a session on the probe that the J-Link library picks.
class Session
{
public:
    Session(const char* jlink_path, std::uint32_t swd_speed_khz)
    {
        check(TESSIT_open_dll(jlink_path, nullptr, BIRCH_FAMILY), "use the J-Link library");
        const result_code_t connected = TESSIT_connect_to_emu_without_snr(swd_speed_khz);
        if (connected != RESULT_OK) {
            TESSIT_close_dll();
        }
        check(connected, "open the probe");
    }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
    ~Session() { TESSIT_close_dll(); }
};

// RTT outlasts TESSIT_close_dll, so it is stopped before.
class Rtt
{
public:
    Rtt() { check(TESSIT_rtt_start(), "start RTT"); }
    Rtt(const Rtt&) = delete;
    Rtt& operator=(const Rtt&) = delete;
    ~Rtt() { TESSIT_rtt_stop(); }

    bool is_found() const
    {
        bool found = false;
        check(TESSIT_rtt_is_control_block_found(&found), "look for the RTT control block");
        return found;
    }

    // What has come on channel 0 since the last call; possibly nothing.
    std::string read() const
    {
        std::array<std::uint8_t, 1024> bytes{};
        std::uint32_t count = 0;
        check(TESSIT_rtt_read(0, bytes.data(), bytes.size(), &count), "read RTT channel 0");
        return {bytes.begin(), bytes.begin() + count};
    }
};

// RAM outlasts a reset: without this RTT would find the control block of the firmware's last run, with what it said.
void clear_ram()
{
    constexpr std::uint32_t ram_start = 0x20000000;
    std::uint32_t count = 0;
    check(TESSIT_read_ram_sections_count(&count), "read the number of RAM sections");
    std::vector<std::uint32_t> sizes(count);
    check(TESSIT_read_ram_sections_size(sizes.data(), count), "read the sizes of the RAM sections");
    check(TESSIT_power_ram_all(), "power the RAM");
    const std::vector<std::uint8_t> zeros(std::accumulate(sizes.begin(), sizes.end(), std::size_t{0}));
    check(TESSIT_write(ram_start, zeros.data(), static_cast<std::uint32_t>(zeros.size()), 0), "clear the RAM");
}

// Ends behind a line that holds the last words.
void log_until(const Rtt& rtt, std::string_view last_words)
{
    constexpr std::chrono::milliseconds pause{2};
    std::string line;
    while (true) {
        const std::string text = rtt.is_found() ? rtt.read() : "";
        if (text.empty()) {
            std::this_thread::sleep_for(pause);
        }
        std::cout << text << std::flush;
        for (const char c : text) {
            line += c;
            if (c == '\n' && line.find(last_words) != std::string::npos) {
                return;
            }
            if (c == '\n') {
                line.clear();
            }
        }
    }
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 3) {
        std::cerr << "usage: rtt_logger JLINK_LIBRARY LAST_WORDS\n";
        return 1;
    }
    try {
        const Session session{argv[1], 4000};
        check(TESSIT_sys_reset(), "reset the chip"); // the CPU is halted before its first instruction
        clear_ram();
        const Rtt rtt;
        check(TESSIT_go(), "let the chip run");
        log_until(rtt, argv[2]);
    } catch (const std::exception& failure) {
        std::cerr << failure.what() << '\n';
        return 1;
    }
    return 0;
}
