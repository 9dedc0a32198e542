#include "cli/flash/programmer.h"

#include "cli/flash/flash_bytes.h"
#include "cli/terminal/progress.h"

#include <algorithm>
#include <fmt/format.h>

namespace tessit::cli {
namespace {

constexpr std::size_t word_bytes = 4;

// Collects words to be written into blocks as large as one call takes. Every call opens and closes the flash
// controller's write bracket, which costs about as much as a few dozen words, so a short erased gap is written through;
// programmed words are not written a second time.
class BlockBuilder
{
public:
    void add_page(const Page& page)
    {
        for (std::size_t i = 0; i < page.wanted.size(); i += word_bytes) {
            const auto wanted = std::span{page.wanted}.subspan(i, word_bytes);
            if (!std::ranges::equal(wanted, std::span{page.current}.subspan(i, word_bytes))) {
                add_word(page.address + static_cast<std::uint32_t>(i), wanted);
            } else if (!is_erased(wanted)) {
                may_bridge_ = false;
            }
        }
    }

    std::vector<Segment> take() { return std::move(blocks_); }

private:
    void add_word(std::uint32_t address, std::span<const std::uint8_t> word)
    {
        constexpr std::uint64_t longest_bridge = 256;
        const std::uint64_t end = blocks_.empty() ? 0 : blocks_.back().range().end();
        const std::uint64_t gap = address - end;
        const bool continues = !blocks_.empty() && (gap == 0 || (may_bridge_ && gap <= longest_bridge)) &&
                               blocks_.back().bytes.size() + gap + word_bytes <= transfer_chunk;
        if (!continues) {
            blocks_.push_back({address, {}});
        }
        std::vector<std::uint8_t>& bytes = blocks_.back().bytes;
        bytes.resize(address - blocks_.back().address, erased_byte);
        bytes.insert(bytes.end(), word.begin(), word.end());
        may_bridge_ = true;
    }

    std::vector<Segment> blocks_;
    bool may_bridge_ = false; // all words since the last block's end are erased
};

std::vector<Segment> blocks_to_write(const Plan& plan)
{
    BlockBuilder builder;
    for (const Page& page : plan.pages) {
        builder.add_page(page);
    }
    return builder.take();
}

std::uint64_t total_bytes(const std::vector<Segment>& blocks)
{
    std::uint64_t total = 0;
    for (const Segment& block : blocks) {
        total += block.bytes.size();
    }
    return total;
}

void erase(const Target& target, const Plan& plan, const Console& console)
{
    Session& session = target.session();
    if (plan.erases_all) {
        Progress progress{console, "erase", 1, "chip"};
        session.check(TESSIT_erase_all(), "erase the flash");
        progress.advance(1);
        progress.finish();
        return;
    }
    Progress progress{console, "erase", plan.pages_to_erase(), "pages"};
    for (const Page& page : plan.pages) {
        if (page.is_erased) {
            stop_if_interrupted();
            session.check(TESSIT_erase_page(page.address), fmt::format("erase the page at {:#010x}", page.address));
            progress.advance(1);
        }
    }
    progress.finish();
}

std::uint64_t write(const Target& target, const Plan& plan, const Console& console)
{
    const std::vector<Segment> blocks = blocks_to_write(plan);
    const std::uint64_t total = total_bytes(blocks);
    Progress progress{console, "write", total, "bytes"};
    for (const Segment& block : blocks) {
        target.write(block.address, block.bytes, WritePath::flash_controller,
                     [&progress](std::size_t bytes) { progress.advance(bytes); });
    }
    progress.finish();
    return total;
}

std::uint64_t read_back(const Target& target, const Plan& plan, const Console& console)
{
    Image written;
    for (const Page& page : plan.pages) {
        // Pages do not overlap.
        static_cast<void>(written.add(page.address, page.wanted));
    }
    const std::uint64_t total = written.size();
    compare_with_target(target, written, "verify", console).require_none("what was written");
    return total;
}

} // namespace

ProgramResult execute(const Target& target, const Plan& plan, bool verify, const Console& console)
{
    ProgramResult result;
    if (plan.pages.empty() && !plan.erases_all) {
        return result;
    }
    target.halt();
    try {
        erase(target, plan, console);
        result.written_bytes = write(target, plan, console);
    } catch (const Failure& failure) {
        throw Failure{failure.code(), fmt::format("{}; the flash is partly written now", failure.what()),
                      fmt::format("{} The chip holds no complete firmware until the command has run to its end.",
                                  failure.hint().empty() ? "Run the command again." : failure.hint())};
    }
    if (verify) {
        result.verified_bytes = read_back(target, plan, console);
    }
    return result;
}

} // namespace tessit::cli
