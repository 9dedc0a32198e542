#include "cli/rtt/link.h"

#include "cli/chip/ram_power.h"
#include "cli/failure.h"
#include "cli/session/memory_map.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>

namespace tessit::cli {
namespace {

constexpr const char* rtt_hint = "`tessit reset` starts the firmware again; -v shows what happened.";

} // namespace

RttLink::RttLink(Session& session, std::optional<std::uint32_t> control_block) : session_{session}
{
    if (control_block) {
        session_.check(TESSIT_rtt_set_control_block_address(*control_block),
                       fmt::format("use the RTT control block at {:#010x}", *control_block));
    }
    session_.check(TESSIT_rtt_start(), "start RTT");
}

RttLink::~RttLink()
{
    TESSIT_rtt_stop(); // fails when the connection is lost, and then there is nothing left to stop
}

RttState RttLink::state()
{
    const RttState state = ask_state();
    if (state != RttState::ready) {
        has_failed_ = false;
    }
    return state;
}

RttState RttLink::ask_state() const
{
    bool connected = false;
    if (TESSIT_is_connected_to_device(&connected) != RESULT_OK || !connected) {
        return RttState::disconnected;
    }
    bool found = false;
    const result_code_t result = TESSIT_rtt_is_control_block_found(&found);
    if (result == ERR_WRONG_STATE) { // lost since the question before
        return RttState::disconnected;
    }
    session_.check(result, "look for the RTT control block", rtt_hint);
    return found ? RttState::ready : RttState::no_control_block;
}

std::optional<RttChannels> RttLink::channels()
{
    std::uint32_t down_count = 0;
    std::uint32_t up_count = 0;
    if (!has_passed(TESSIT_rtt_read_channel_count(&down_count, &up_count), "count the RTT channels")) {
        return {};
    }
    std::optional<std::vector<RttChannel>> up = channels(UP_DIRECTION, up_count);
    std::optional<std::vector<RttChannel>> down = up ? channels(DOWN_DIRECTION, down_count) : std::nullopt;
    return down ? std::optional<RttChannels>{{std::move(*up), std::move(*down)}} : std::nullopt;
}

std::optional<std::vector<RttChannel>> RttLink::channels(rtt_direction_t direction, std::uint32_t count)
{
    std::vector<RttChannel> channels;
    for (std::uint32_t index = 0; index < count; ++index) {
        std::array<char, 33> name{}; // 32 characters and the end
        std::uint32_t size = 0;
        const result_code_t result = TESSIT_rtt_read_channel_info(index, direction, name.data(), name.size(), &size);
        if (!has_passed(result, fmt::format("read what RTT channel {} is", index))) {
            return {};
        }
        channels.push_back({index, name.data(), size});
    }
    return channels;
}

std::optional<std::size_t> RttLink::read(std::uint32_t channel, std::span<char> bytes)
{
    std::uint32_t count = 0;
    const result_code_t result = TESSIT_rtt_read(channel, reinterpret_cast<std::uint8_t*>(bytes.data()),
                                                 static_cast<std::uint32_t>(bytes.size()), &count);
    return transferred(result, count, fmt::format("read RTT channel {}", channel));
}

std::optional<std::size_t> RttLink::write(std::uint32_t channel, std::string_view bytes)
{
    std::uint32_t count = 0;
    const result_code_t result = TESSIT_rtt_write(channel, reinterpret_cast<const std::uint8_t*>(bytes.data()),
                                                  static_cast<std::uint32_t>(bytes.size()), &count);
    return transferred(result, count, fmt::format("write to RTT channel {}", channel));
}

std::optional<std::size_t> RttLink::transferred(result_code_t result, std::uint32_t count, const std::string& what)
{
    if (!has_passed(result, what)) {
        return {};
    }
    has_failed_ = false;
    return count;
}

// A chip that was reset has its control block again so soon that asking for the state may come too late to see it gone:
// only the second failure is one.
bool RttLink::has_passed(result_code_t result, const std::string& what)
{
    if (result == RESULT_OK) {
        return true;
    }
    if (has_failed_) {
        session_.check(result, what, rtt_hint);
    }
    has_failed_ = true;
    return false;
}

bool RttLink::reconnect()
{
    const result_code_t result = TESSIT_connect_to_device();
    bool has_probe = true;
    if (result == ERR_PROTECTED || (TESSIT_is_connected_to_emu(&has_probe) == RESULT_OK && !has_probe)) {
        session_.check(result, "connect to the chip again");
    }
    return result == RESULT_OK;
}

void erase_old_control_blocks(const Target& target)
{
    const RamSections ram = read_ram_sections(target.session());
    std::uint32_t address = memory_map::ram_start;
    for (std::size_t section = 0; section < ram.sizes.size(); address += ram.sizes[section++]) {
        if (ram.power[section] != RAM_SECTION_ON) {
            continue;
        }
        const std::vector<std::uint8_t> bytes = target.read({address, ram.sizes[section]});
        for (auto at = bytes.begin(); at != bytes.end();) {
            at = std::search(at, bytes.end(), rtt_identifier.begin(), rtt_identifier.end());
            if (at != bytes.end()) {
                const std::array<std::uint8_t, 4> nothing{};
                target.write((address + static_cast<std::uint32_t>(at - bytes.begin())) & ~3U, nothing, WritePath::bus);
                ++at;
            }
        }
    }
}

} // namespace tessit::cli
