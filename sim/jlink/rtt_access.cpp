#include "sim/jlink/rtt_access.h"

#include <algorithm>
#include <fmt/core.h>

namespace jlinksim {
namespace {

/// The connected chip, when RTT is started.
Chip* reach_rtt(Session& session)
{
    Chip* const chip = session.require_chip();
    if (chip != nullptr && !session.rtt().is_started()) {
        session.report("RTT is not started.");
        return nullptr;
    }
    return chip;
}

std::vector<RttSearchRange> ram_of(const ChipModel& model)
{
    std::vector<RttSearchRange> areas{{Ram::base, model.ram_bytes()}};
    if (model.ram_code_alias != 0) {
        areas.push_back({model.ram_code_alias, model.ram_bytes() / 2});
    }
    return areas;
}

/// The words of a range that lie within an area; of length 0 when there are none.
RttSearchRange common_part(const RttSearchRange& range, const RttSearchRange& area)
{
    constexpr std::uint64_t word = 4;
    const std::uint64_t first = (std::max(range.address, area.address) + word - 1) / word * word;
    const std::uint64_t end =
        std::min(std::uint64_t{range.address} + range.length, std::uint64_t{area.address} + area.length) / word * word;
    return {static_cast<std::uint32_t>(first), first < end ? static_cast<std::uint32_t>(end - first) : 0};
}

/// Without ranges of the host's: the RAM that the library knows of the device that the host named, whatever chip is
/// there.
std::vector<RttSearchRange> wanted_ranges(const SessionSettings& settings)
{
    if (!settings.rtt_search_ranges.empty()) {
        return settings.rtt_search_ranges;
    }
    const auto device = std::ranges::find(chip_models(), settings.device, &ChipModel::device_name);
    return {{Ram::base, device->ram_bytes()}}; // a session without a known device is not connected
}

/// The ranges as far as the chip has RAM there; the rest is recorded.
std::vector<RttSearchRange> searchable_ranges(Session& session, const ChipModel& model)
{
    std::vector<RttSearchRange> searchable;
    for (const RttSearchRange& range : wanted_ranges(session.settings())) {
        std::uint64_t found = 0;
        for (const RttSearchRange& area : ram_of(model)) {
            const RttSearchRange part = common_part(range, area);
            if (part.length != 0) {
                searchable.push_back(part);
                found += part.length;
            }
        }
        if (found < range.length) {
            session.bench().records().add("rtt-search-range",
                                          fmt::format("0x{:08X} 0x{:X} is not all RAM", range.address, range.length));
        }
    }
    return searchable;
}

/// Polls, until there is what is waited for or a while has gone by.
template <class Ready>
void let_polls_pass(Session& session, const Ready& is_ready)
{
    const std::uint64_t deadline = session.bench().clock().device() + timing::rtt_longest_wait_ns;
    while (!is_ready() && session.bench().clock().device() < deadline) {
        session.wait_for_rtt_poll();
    }
}

bool find_channels(Session& session)
{
    let_polls_pass(session, [&] { return session.rtt().has_channels(); });
    return session.rtt().has_channels();
}

/// Not negative: the channel exists.
int find_channel(Session& session, RttDirection direction, std::uint32_t channel)
{
    if (reach_rtt(session) == nullptr) {
        return rtt_result::failure;
    }
    if (!find_channels(session)) {
        return rtt_result::not_found;
    }
    const std::size_t count = session.rtt().count_channels(direction);
    if (channel >= count) {
        session.report(fmt::format("There is no RTT {} channel {}: the target has {}.",
                                   direction == RttDirection::up ? "up" : "down", channel, count));
        return rtt_result::failure;
    }
    return 0;
}

std::optional<RttDirection> direction_of(std::uint32_t value)
{
    if (value > static_cast<std::uint32_t>(RttDirection::down)) {
        return {};
    }
    return static_cast<RttDirection>(value);
}

/// Byte by byte, so that a name may end with the memory that it stands in.
std::array<char, 32> read_name(Session& session, Chip& chip, std::uint32_t address)
{
    std::array<char, 32> name{};
    if (address == 0) {
        return name;
    }
    session.spend_block(name.size());
    for (char& c : name) {
        std::uint8_t byte = 0;
        if (!chip.is_memory(address, 1) || !chip.debug_read(address, {&byte, 1})) {
            session.bench().records().add("rtt-channel-name", fmt::format("nothing to read at 0x{:08X}", address));
            return {};
        }
        if (byte == 0) {
            break;
        }
        c = static_cast<char>(byte);
        ++address;
    }
    return name;
}

} // namespace

int start_rtt(Session& session, std::optional<std::uint32_t> block_address)
{
    const Chip* const chip = session.require_chip();
    if (chip == nullptr) {
        return rtt_result::failure;
    }
    session.spend(0);
    const std::uint64_t now = session.bench().clock().device();
    if (block_address) {
        session.rtt().start(*block_address, now);
    } else {
        session.rtt().start(searchable_ranges(session, chip->model()), now);
    }
    return 0;
}

int stop_rtt(Session& session)
{
    if (session.require_chip() == nullptr) {
        return rtt_result::failure;
    }
    session.rtt().stop();
    return 0;
}

int count_rtt_channels(Session& session, std::uint32_t direction)
{
    const std::optional<RttDirection> known = direction_of(direction);
    if (reach_rtt(session) == nullptr || !known) {
        return rtt_result::failure;
    }
    return find_channels(session) ? static_cast<int>(session.rtt().count_channels(*known)) : rtt_result::not_found;
}

std::optional<RttChannel> describe_rtt_channel(Session& session, std::uint32_t direction, std::uint32_t channel)
{
    const std::optional<RttDirection> known = direction_of(direction);
    if (!known || find_channel(session, *known, channel) < 0) {
        return {};
    }
    const RttRing& ring = session.rtt().ring(*known, channel);
    return RttChannel{ring, read_name(session, *session.find_chip(), ring.name)};
}

int read_rtt(Session& session, std::uint32_t channel, std::span<std::uint8_t> data)
{
    if (const int found = find_channel(session, RttDirection::up, channel); found < 0) {
        return found;
    }
    std::size_t count = 0;
    let_polls_pass(session, [&] {
        count = session.rtt().read(channel, data);
        return count != 0;
    });
    return static_cast<int>(count);
}

int write_rtt(Session& session, std::uint32_t channel, std::span<const std::uint8_t> data)
{
    if (const int found = find_channel(session, RttDirection::down, channel); found < 0) {
        return found;
    }
    std::size_t count = 0;
    let_polls_pass(session, [&] {
        count = session.rtt().write(channel, data);
        return count != 0;
    });
    return static_cast<int>(count);
}

} // namespace jlinksim
