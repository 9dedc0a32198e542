#include "sim/rtt/control_block.h"

#include "base/little_endian.h"

#include <algorithm>
#include <fmt/core.h>

namespace jlinksim {
namespace {

constexpr std::size_t up_count_position = 16;
constexpr std::size_t down_count_position = 20;

std::uint32_t load_word(std::span<const std::uint8_t> bytes, std::size_t position)
{
    return tessit::little_endian::load_u32(bytes.subspan(position));
}

bool has_identifier(std::span<const std::uint8_t> header)
{
    return std::ranges::equal(header.first(rtt_identifier.size()), rtt_identifier);
}

bool overlaps(const RttRing& ring, const RttControlBlock& block)
{
    const std::uint64_t ring_end = std::uint64_t{ring.buffer} + ring.size;
    const std::uint64_t block_end = std::uint64_t{block.address} + block.bytes();
    return ring.buffer < block_end && block.address < ring_end;
}

} // namespace

RttRing RttRing::decode(std::span<const std::uint8_t> descriptor)
{
    return {
        .name = load_word(descriptor, 0),
        .buffer = load_word(descriptor, 4),
        .size = load_word(descriptor, 8),
        .write = load_word(descriptor, write_position),
        .read = load_word(descriptor, read_position),
        .flags = load_word(descriptor, 20),
    };
}

bool RttControlBlock::refresh(RttMemory& memory)
{
    std::vector<std::uint8_t> content(bytes());
    if (!memory.is_ram(address, content.size()) || !memory.read(address, content) || !has_identifier(content) ||
        load_word(content, up_count_position) != up.size() || load_word(content, down_count_position) != down.size()) {
        return false;
    }
    std::span<const std::uint8_t> descriptors = std::span{content}.subspan(header_bytes);
    for (std::vector<RttRing>* const rings : {&up, &down}) {
        for (RttRing& ring : *rings) {
            ring = RttRing::decode(descriptors);
            descriptors = descriptors.subspan(RttRing::bytes);
        }
    }
    return true;
}

RttCandidate look_at_rtt_block(RttMemory& memory, std::uint32_t address)
{
    std::array<std::uint8_t, RttControlBlock::header_bytes> header{};
    if (address % RttControlBlock::alignment != 0 || !memory.is_ram(address, header.size()) ||
        !memory.read(address, header) || !has_identifier(header)) {
        return {};
    }
    const std::uint32_t up = load_word(header, up_count_position);
    const std::uint32_t down = load_word(header, down_count_position);
    if (up > most_rtt_rings || down > most_rtt_rings) {
        return {{},
                fmt::format("{} up and {} down rings", static_cast<std::int32_t>(up), static_cast<std::int32_t>(down))};
    }
    RttControlBlock block{address, std::vector<RttRing>(up), std::vector<RttRing>(down)};
    if (!memory.is_ram(address, block.bytes())) {
        return {{}, fmt::format("{} up and {} down rings do not fit into RAM", up, down)};
    }
    return {std::move(block), {}};
}

const char* problem_of_ring(const RttRing& ring, const RttControlBlock& block, const RttMemory& memory)
{
    if (ring.size < 2) {
        return "its size leaves no room for a byte";
    }
    if (!memory.is_ram(ring.buffer, ring.size)) {
        return "its buffer is not in RAM";
    }
    if (overlaps(ring, block)) {
        return "its buffer overlaps the control block";
    }
    if (ring.write >= ring.size) {
        return "its write offset is beyond its buffer";
    }
    if (ring.read >= ring.size) {
        return "its read offset is beyond its buffer";
    }
    return nullptr;
}

} // namespace jlinksim
