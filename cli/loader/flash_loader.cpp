#include "cli/loader/flash_loader.h"

#include "cli/memory/cost.h"
#include "cli/session/memory_map.h"

#include <chrono>
#include <fmt/format.h>

namespace tessit::cli {
namespace {

using Ending = LoaderConversation::Ending;
using loader_protocol::Command;

// The loader is let run no longer than this object lives, whatever ends it; flash is read-only afterwards.
class Execution
{
public:
    Execution(const Session& session, const LoaderArea& area) : clock_{session.clock()}
    {
        session.check(TESSIT_run(area.entry(), area.stack_end()), "start the flash loader");
    }
    Execution(const Execution&) = delete;
    Execution& operator=(const Execution&) = delete;
    ~Execution()
    {
        if (!ended_) { // the first access halts it
            wait_for_flash();
            TESSIT_write_u32(memory_map::flash_config, 0, static_cast<std::uint8_t>(WritePath::bus));
            wait_for_flash();
        }
    }

    /// The loader said that it has nothing more to do.
    void has_ended() { ended_ = true; }

private:
    // An erase that was begun goes on without the CPU.
    void wait_for_flash() const
    {
        const Clock::Duration deadline = clock_.now() + std::chrono::seconds{1};
        std::uint32_t ready = 0;
        while (ready == 0 && clock_.now() < deadline && TESSIT_read_u32(memory_map::flash_ready, &ready) == RESULT_OK) {
        }
    }

    const Clock& clock_;
    bool ended_ = false;
};

// Neighbours of one size are one command.
std::vector<LoaderCommand> checksum_commands(std::span<const Range> ranges)
{
    std::vector<LoaderCommand> commands;
    Range last{0, 0};
    for (const Range& range : ranges) {
        const double seconds = cost::loader_checksum_byte * static_cast<double>(range.length);
        const bool joins = !commands.empty() && last.end() == range.first && last.length == range.length;
        if (joins) {
            ++commands.back().arguments.back();
            ++commands.back().values;
            commands.back().seconds += seconds;
        } else {
            commands.push_back({.command = Command::checksums,
                                .arguments = {range.first, static_cast<std::uint32_t>(range.length), 1},
                                .values = 1,
                                .seconds = seconds});
        }
        last = range;
    }
    return commands;
}

} // namespace

FlashLoader::FlashLoader(const Target& target, const Narration& narration) : target_{target}, narration_{narration} {}

FlashLoader::~FlashLoader()
{
    try {
        give_back();
    } catch (const Failure&) { // the failure that brought us here is the one to tell
        if (!has_reset_) {
            narration_.console.note(
                "RAM and registers that the flash loader used could not be put back: reset the chip "
                "before its firmware goes on.");
        }
    }
}

void FlashLoader::give_back()
{
    if (!loan_) {
        return;
    }
    const CpuLoan loan = std::move(*loan_);
    loan_.reset();
    if (has_reset_) {
        loan.give_back_at_reset_handler();
    } else {
        loan.give_back();
    }
}

bool FlashLoader::borrow()
{
    if (is_usable_ && !loan_) {
        area_ = find_loader_area(target_.session());
        is_usable_ = area_.has_value();
        if (is_usable_) {
            loan_.emplace(target_, area_->small_part());
        }
    }
    return is_usable_;
}

bool FlashLoader::can_run()
{
    return borrow() && run({}, LoaderArea::small_down_ring_bytes, {}, {}) == Ending::done;
}

std::optional<std::vector<std::uint32_t>> FlashLoader::checksums(std::span<const Range> ranges)
{
    if (std::ranges::equal(ranges, std::exchange(compared_, {}))) {
        return std::move(values_);
    }
    if (!borrow()) {
        return std::nullopt;
    }
    const Ending ending = run(checksum_commands(ranges), LoaderArea::small_down_ring_bytes, {}, {});
    if (ending != Ending::done) {
        give_up(ending);
        return std::nullopt;
    }
    return std::move(values_);
}

bool FlashLoader::carry_out(std::vector<LoaderCommand> commands, std::span<const Range> compared,
                            const ContentOf& content, const LoaderConversation::Answered& answered)
{
    if (!borrow()) {
        return false;
    }
    // What the firmware has begun - transfers into RAM, a watchdog - ends here, and what it has switched off is on
    // again.
    target_.session().check(TESSIT_sys_reset(), "reset the chip for the flash loader");
    has_reset_ = true;
    is_loaded_ = false;
    std::ranges::move(checksum_commands(compared), std::back_inserter(commands));
    const Ending ending = run(std::move(commands), area_->large_down_ring_bytes(), content, answered);
    if (ending != Ending::done) {
        give_up(ending);
        return false;
    }
    compared_.assign(compared.begin(), compared.end());
    return true;
}

// Again, only its rings have to be made empty.
void FlashLoader::load(std::uint32_t down_ring_bytes)
{
    const std::vector<std::uint8_t> image = loader_image(*area_, down_ring_bytes);
    if (is_loaded_) {
        target_.write(area_->control_block(),
                      std::span{image}.subspan(LoaderArea::control_block_offset, LoaderArea::control_block_bytes),
                      WritePath::bus);
        return;
    }
    target_.write(area_->base, image, WritePath::bus);
    loan_->take_over(area_->base);
    is_loaded_ = true;
}

Ending FlashLoader::run(std::vector<LoaderCommand> commands, std::uint32_t down_ring_bytes, const ContentOf& content,
                        const LoaderConversation::Answered& answered)
{
    commands.push_back({.command = Command::end});
    load(down_ring_bytes);
    Execution execution{target_.session(), *area_};
    const Ending ending = converse(commands, content, answered);
    if (ending == Ending::done) {
        execution.has_ended();
    }
    return ending;
}

// An RTT that does not work is as good as a loader that does not answer.
Ending FlashLoader::converse(std::span<const LoaderCommand> commands, const ContentOf& content,
                             const LoaderConversation::Answered& answered)
{
    try {
        RttLink link{target_.session(), area_->control_block()};
        LoaderConversation conversation{target_.session(), link};
        if (!conversation.is_greeted()) {
            return Ending::silent;
        }
        has_run_ = true;
        const Ending ending = conversation.carry_out(commands, content, answered);
        values_ = conversation.values();
        refusal_ = conversation.refusal();
        return ending;
    } catch (const Failure& failure) {
        if (failure.code() == ExitCode::interrupted) {
            throw;
        }
        return Ending::silent;
    }
}

// Of a CPU that never ran it there is nothing to tell: that is how some chips, and simulations, are.
void FlashLoader::give_up(Ending ending)
{
    is_usable_ = false;
    if (ending == Ending::refused) {
        narration_.console.note(
            fmt::format("The flash loader cannot {} {:#010x}, which holds {:#010x}; going on without it.",
                        refusal_.command == Command::write ? "write" : "reach", refusal_.address, refusal_.found));
    } else if (has_run_) {
        narration_.console.note("The flash loader on the chip does not answer any more; going on without it.");
    }
}

} // namespace tessit::cli
