/// The program on the chip that computes checksums of flash, erases it and writes it, at the flash's own speed.
#pragma once

#include "cli/loader/area.h"
#include "cli/loader/conversation.h"
#include "cli/loader/cpu_loan.h"
#include "cli/terminal/narration.h"

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace tessit::cli {

class FlashLoader
{
public:
    /// Nothing is done on the chip before the first use.
    FlashLoader(const Target& target, const Narration& narration);
    FlashLoader(const FlashLoader&) = delete;
    FlashLoader& operator=(const FlashLoader&) = delete;
    /// After a failure, as far as it still can be done.
    ~FlashLoader();

    /// Whether it answers when it is started; the CPU is halted afterwards.
    bool can_run();

    /// CRC-32 of each range. The CPU is halted afterwards. Nothing where the loader cannot run.
    std::optional<std::vector<std::uint32_t>> checksums(std::span<const Range> ranges);

    /// Resets the chip, carries the commands out, and computes the checksums of what will be compared, for which it is
    /// not started again then. RAM is not kept from now on. False, after a line that says why, where the loader cannot
    /// do it: all of it is to be done in another way then, from its beginning.
    bool carry_out(std::vector<LoaderCommand> commands, std::span<const Range> compared, const ContentOf& content,
                   const LoaderConversation::Answered& answered);

    /// At the regular end; throws when it cannot be done. The CPU is halted, as before with its own registers and RAM,
    /// or where the reset handler of the new firmware begins.
    void give_back();

    /// Whether it ran, and did all that was asked of it.
    bool has_served() const { return has_run_ && is_usable_; }
    bool has_lost_ram() const { return has_reset_; }

private:
    bool borrow();
    void load(std::uint32_t down_ring_bytes);
    LoaderConversation::Ending run(std::vector<LoaderCommand> commands, std::uint32_t down_ring_bytes,
                                   const ContentOf& content, const LoaderConversation::Answered& answered);
    LoaderConversation::Ending converse(std::span<const LoaderCommand> commands, const ContentOf& content,
                                        const LoaderConversation::Answered& answered);
    void give_up(LoaderConversation::Ending ending);

    const Target& target_;
    const Narration narration_;
    bool is_usable_ = true;
    bool is_loaded_ = false; ///< and the CPU was taken over
    bool has_run_ = false;
    bool has_reset_ = false;
    std::optional<LoaderArea> area_;
    std::optional<CpuLoan> loan_;
    std::vector<std::uint32_t> values_; ///< of the last run
    std::vector<Range> compared_;       ///< whose checksums the last run ended with
    LoaderRefusal refusal_;
};

} // namespace tessit::cli
