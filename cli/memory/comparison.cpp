#include "cli/memory/comparison.h"

#include "cli/memory/crc32.h"
#include "cli/terminal/progress.h"

#include <algorithm>

namespace tessit::cli {
namespace {

// Not much has to be read of what differs somewhere: those parts whose checksums are not
// those of what they should hold; all, where there are no checksums.
std::vector<Piece> doubtful(const std::vector<Piece>& parts, const Device& device, const ContentOf& wanted)
{
    std::vector<Range> ranges(parts.size());
    std::ranges::transform(parts, ranges.begin(), &Piece::range);
    const auto checksums = device.checksums && !ranges.empty() ? device.checksums(ranges) : std::nullopt;
    if (!checksums) {
        return parts;
    }
    std::vector<Piece> doubtful;
    std::vector<std::uint8_t> bytes;
    for (std::size_t i = 0; i < parts.size(); ++i) {
        bytes.resize(ranges[i].size());
        wanted(ranges[i], bytes);
        if (crc32(bytes) != (*checksums)[i]) {
            doubtful.push_back(parts[i]);
        }
    }
    return doubtful;
}

// Neighbours in one, as long as one call transfers.
std::vector<Piece> joined(const std::vector<Piece>& parts)
{
    std::vector<Piece> joined;
    for (const Piece& part : parts) {
        const bool joins = !joined.empty() && joined.back().memory == part.memory &&
                           joined.back().range.end() == part.range.first &&
                           joined.back().range.length + part.range.length <= transfer_chunk;
        if (joins) {
            joined.back().range.length += part.range.length;
        } else {
            joined.push_back(part);
        }
    }
    return joined;
}

// Calls `use(piece, wanted, found)` for what is not known to be equal without a look.
template <typename Use>
void look_at(const std::vector<Piece>& pieces, const Device& device, const ContentOf& content, Progress& progress,
             Use use)
{
    const std::vector<Piece> unproven = doubtful(parts_by_unit(pieces), device, content);
    if (const std::uint64_t proven = bytes_of(pieces) - bytes_of(unproven); proven != 0) {
        progress.advance(proven);
    }
    std::vector<std::uint8_t> wanted;
    std::vector<std::uint8_t> found;
    for (const Piece& piece : joined(unproven)) {
        wanted.resize(piece.range.size());
        found.resize(piece.range.size());
        content(piece.range, wanted);
        piece.memory->read(piece.range.first, found, [&progress](std::size_t count) { progress.advance(count); });
        use(piece, wanted, found);
    }
}

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

Comparison compare(const Device& device, const std::vector<Piece>& units, const Contents& contents,
                   const Narration& narration)
{
    Comparison comparison;
    comparison.bytes = bytes_of(units);
    Progress progress{narration, "verify", comparison.bytes, "bytes"};
    const ContentOf content = [&contents](const Range& range, std::span<std::uint8_t> bytes) {
        contents.fill(range, bytes);
    };
    look_at(units, device, content, progress, [&](const Piece& piece, const auto& wanted, const auto& found) {
        comparison.mismatches.compare(piece.range.first, wanted, found);
        note_differing(piece, wanted, found, comparison.differing_units);
    });
    progress.finish();
    return comparison;
}

Mismatches compare(const Device& device, const Image& image, const Narration& narration)
{
    Mismatches mismatches;
    Progress progress{narration, "verify", image.size(), "bytes"};
    std::vector<Piece> pieces;
    for (const Memory& memory : device.memories) {
        for (const Segment& segment : image.segments_within(memory.traits.range)) {
            pieces.push_back({&memory, segment.range()});
        }
    }
    const ContentOf content = [&image](const Range& range, std::span<std::uint8_t> bytes) {
        image.overlay(range, bytes);
    };
    look_at(pieces, device, content, progress, [&](const Piece& piece, const auto& wanted, const auto& found) {
        mismatches.compare(piece.range.first, wanted, found);
    });
    progress.finish();
    return mismatches;
}

} // namespace tessit::cli
