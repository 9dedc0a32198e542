#include "cli/memory/eraser.h"

#include "cli/platform/platform.h"
#include "cli/terminal/progress.h"

#include <algorithm>
#include <fmt/format.h>

namespace tessit::cli {
namespace {

double erase_seconds(const Piece& block)
{
    const std::vector<EraseBlock>& sizes = block.memory->traits.blocks;
    const auto size = std::ranges::find(sizes, block.range.length, &EraseBlock::bytes);
    return size == sizes.end() ? 0 : size->seconds;
}

} // namespace

EraseResult erase_everything(const Device& device, const std::function<void()>& erase, const Narration& narration)
{
    EraseResult result{BlankProof::read};
    ProvenErases erases{device};
    erases.run([&]() -> std::optional<NotBlank> {
        erase();
        for (const Memory& memory : device.memories) {
            const BlankProof proof = cheapest_proof(memory, memory.traits.range, device.erase_all_seconds);
            result.proof = std::max(result.proof, proof);
            if (const auto found = find_not_blank(memory, memory.traits.range, proof, narration)) {
                return found;
            }
        }
        return std::nullopt;
    });
    result.protection_was_lifted = erases.protection_was_lifted();
    return result;
}

EraseResult erase_blocks(const Device& device, const std::vector<Piece>& blocks, bool prove, const Narration& narration)
{
    EraseResult result{prove ? BlankProof::read : BlankProof::none};
    const std::uint64_t total = bytes_of(blocks);
    Progress progress{narration, "erase", total, "bytes"};
    ProvenErases erases{device};
    std::uint64_t erased = 0;
    for (const Piece& block : blocks) {
        if (platform::is_interrupted()) {
            throw interrupted(fmt::format("{} of {} are erased", format_size(erased), format_size(total)))
                .half_written(erased != 0);
        }
        const Memory& memory = *block.memory;
        const BlankProof proof = prove ? cheapest_proof(memory, block.range, erase_seconds(block)) : BlankProof::none;
        result.proof = std::max(result.proof, proof);
        erases.run([&] {
            memory.erase(block.range);
            return find_not_blank(memory, block.range, proof, narration);
        });
        erased += block.range.length;
        progress.advance(block.range.length);
    }
    progress.finish();
    result.protection_was_lifted = erases.protection_was_lifted();
    return result;
}

std::string describe_proof(BlankProof proof, std::string_view units)
{
    switch (proof) {
    case BlankProof::read:
        return "all of it read";
    case BlankProof::samples:
        return fmt::format("samples of all {}", units);
    case BlankProof::none:
        break;
    }
    return "not looked at";
}

Json to_json(const std::vector<Piece>& pieces)
{
    Json list = Json::list();
    for (const Piece& piece : pieces) {
        list.push_back({{"address", piece.range.first}, {"bytes", piece.range.length}});
    }
    return list;
}

} // namespace tessit::cli
