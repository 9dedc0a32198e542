#include "cli/memory/comparison.h"

#include "cli/terminal/progress.h"

#include <algorithm>

namespace tessit::cli {
namespace {

void note_differing(const Piece& part, std::span<const std::uint8_t> wanted, std::span<const std::uint8_t> found,
                    std::vector<Piece>& differing)
{
    const std::uint32_t unit = part.memory->traits.unit_bytes;
    for (std::uint32_t i = 0; i < part.range.length; i += unit) {
        if (!std::ranges::equal(wanted.subspan(i, unit), found.subspan(i, unit))) {
            differing.push_back({part.memory, {part.range.first + i, unit}});
        }
    }
}

} // namespace

Comparison compare(const std::vector<Piece>& units, const Contents& contents, const Narration& narration)
{
    Comparison comparison;
    comparison.bytes = bytes_of(units);
    Progress progress{narration, "verify", comparison.bytes, "bytes"};
    std::vector<std::uint8_t> wanted;
    std::vector<std::uint8_t> found;
    for (const Piece& piece : units) {
        for_each_part(piece.range, [&](const Range& part) {
            wanted.resize(part.length);
            found.resize(part.length);
            contents.fill(part, wanted);
            piece.memory->read(part.first, found, [&progress](std::size_t count) { progress.advance(count); });
            comparison.mismatches.compare(part.first, wanted, found);
            note_differing({piece.memory, part}, wanted, found, comparison.differing_units);
        });
    }
    progress.finish();
    return comparison;
}

Mismatches compare(const Device& device, const Image& image, const Narration& narration)
{
    Mismatches mismatches;
    Progress progress{narration, "verify", image.size(), "bytes"};
    std::vector<std::uint8_t> found;
    for (const Memory& memory : device.memories) {
        for (const Segment& segment : image.segments_within(memory.traits.range)) {
            for_each_part(segment.range(), [&](const Range& part) {
                found.resize(part.length);
                memory.read(part.first, found, [&progress](std::size_t count) { progress.advance(count); });
                mismatches.compare(part.first,
                                   std::span{segment.bytes}.subspan(part.first - segment.address, part.length), found);
            });
        }
    }
    progress.finish();
    return mismatches;
}

} // namespace tessit::cli
