#include "cli/memory/eraser.h"

#include "cli/terminal/progress.h"

#include <algorithm>
#include <fmt/format.h>
#include <numeric>

namespace tessit::cli {
namespace {

double erase_seconds(const Memory& memory, const Range& block)
{
    const auto size = std::ranges::find(memory.traits.blocks, block.length, &EraseBlock::bytes);
    return size == memory.traits.blocks.end() ? 0 : size->seconds;
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

EraseResult erase_blocks(const Device& device, const Memory& memory, const std::vector<Range>& blocks, bool prove,
                         const Narration& narration)
{
    EraseResult result{prove ? BlankProof::read : BlankProof::none};
    const std::uint64_t total =
        std::accumulate(blocks.begin(), blocks.end(), std::uint64_t{0},
                        [](std::uint64_t sum, const Range& block) { return sum + block.length; });
    Progress progress{narration, "erase", total, "bytes"};
    ProvenErases erases{device};
    std::uint64_t erased = 0;
    for (const Range& block : blocks) {
        stop_if_interrupted(fmt::format("{} of {} are erased", format_size(erased), format_size(total)));
        const BlankProof proof = prove ? cheapest_proof(memory, block, erase_seconds(memory, block)) : BlankProof::none;
        result.proof = std::max(result.proof, proof);
        erases.run([&] {
            memory.erase(block);
            return find_not_blank(memory, block, proof, narration);
        });
        erased += block.length;
        progress.advance(block.length);
    }
    progress.finish();
    result.protection_was_lifted = erases.protection_was_lifted();
    return result;
}

} // namespace tessit::cli
