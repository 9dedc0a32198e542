#include "cli/loader/serving.h"

#include "cli/memory/cost.h"

#include <algorithm>
#include <iterator>

namespace tessit::cli {
namespace {

using loader_protocol::Command;

constexpr std::uint32_t word_bytes = 4;

LoaderCommand erase_everything()
{
    return {.command = Command::erase_all, .seconds = cost::flash_erase_all};
}

LoaderCommand erase(const Range& page)
{
    return {.command = Command::erase_page, .arguments = {page.first}, .seconds = cost::flash_page_erase};
}

LoaderCommand write(const Range& part)
{
    const auto words = static_cast<std::uint32_t>(part.length / word_bytes);
    return {.command = Command::write,
            .arguments = {part.first, words},
            .data = part,
            .seconds = words * cost::flash_word_write};
}

// Each page is written when it is erased, while the next one's data arrive.
std::vector<LoaderCommand> commands_of(const MemoryChanges& changes, std::uint32_t page_bytes)
{
    std::vector<LoaderCommand> commands;
    // An answer for as much as shows progress: more of them take time on SWD.
    const std::uint32_t longest = changes.erases.empty() ? transfer_chunk : page_bytes;
    for (const Range& range : changes.writes) {
        std::ranges::transform(cut(range, longest), std::back_inserter(commands), write);
    }
    std::ranges::transform(changes.erases, std::back_inserter(commands), erase);
    std::ranges::sort(commands, {}, [](const LoaderCommand& each) {
        return std::pair{each.arguments.front(), each.command}; // an erase comes before what is written there
    });
    if (changes.everything) {
        commands.insert(commands.begin(), erase_everything());
    }
    return commands;
}

} // namespace

void serve(Device& chip, FlashLoader& loader, std::uint32_t speed_khz)
{
    Memory& flash = chip.memories.front();
    flash.traits.write_cost = {0, std::max(cost::swd_word(speed_khz), cost::flash_word_write) / word_bytes};
    chip.change_at_once = [&loader, page_bytes = flash.traits.unit_bytes](
                              const MemoryChanges& changes, const ContentOf& content, const ChunkDone& done) {
        return loader.carry_out(commands_of(changes, page_bytes), changes.compared, content,
                                [&done](const LoaderCommand& command) { done(command.data.size()); });
    };
}

void serve_checksums(Device& chip, FlashLoader& loader)
{
    for (Memory& memory : chip.memories) {
        memory.traits.check_cost = {cost::loader_run, cost::loader_checksum_byte};
    }
    chip.checksums = [&loader](std::span<const Range> ranges) { return loader.checksums(ranges); };
}

} // namespace tessit::cli
