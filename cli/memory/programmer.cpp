#include "cli/memory/programmer.h"

#include "cli/memory/blank.h"
#include "cli/memory/comparison.h"
#include "cli/terminal/progress.h"

#include <algorithm>
#include <fmt/format.h>
#include <functional>

namespace tessit::cli {
namespace {

class Execution
{
public:
    Execution(const Device& device, const Plan& plan, bool verifies, const Narration& narration)
        : device_{device}, plan_{plan}, verifies_{verifies}, narration_{narration}, erases_{device}
    {
    }

    ProgramResult run()
    {
        ProgramResult result;
        try {
            result.written_bytes = change();
        } catch (const Failure& failure) {
            throw Failure{failure.code(), fmt::format("{}; {} is partly written now", failure.what(), device_.name),
                          failure.hint().empty() ? "Run the command again; it goes on where it stopped."
                                                 : failure.hint()}
                .half_written();
        }
        if (verifies_) {
            result.verified_bytes = verify();
        }
        result.protection_was_lifted = erases_.protection_was_lifted();
        return result;
    }

private:
    std::uint64_t change()
    {
        const std::uint64_t total = bytes_of(plan_.writes);
        if (!device_.change_at_once) {
            erase();
            return write(plan_.writes);
        }
        if (change_first_memory()) {
            std::vector<Piece> others;
            std::ranges::remove_copy(plan_.writes, std::back_inserter(others), &device_.memories.front(),
                                     &Piece::memory);
            write(others);
        } else {
            erase();
            write(plan_.writes);
        }
        return total;
    }

    bool change_first_memory()
    {
        const Memory* const memory = &device_.memories.front();
        MemoryChanges changes{};
        changes.everything = plan_.erases.everything;
        const auto add = [memory](std::vector<Range>& ranges, const std::vector<Piece>& pieces) {
            for (const Piece& piece : pieces) {
                if (piece.memory == memory) {
                    ranges.push_back(piece.range);
                }
            }
        };
        add(changes.erases, plan_.erases.blocks);
        add(changes.writes, plan_.writes);
        if (verifies_) {
            add(changes.compared, parts_by_unit(plan_.changes));
        }
        Progress progress{narration_, "write", bytes_of(plan_.writes), "bytes"};
        const bool done = device_.change_at_once(
            changes, [this](const Range& range, std::span<std::uint8_t> bytes) { plan_.contents.fill(range, bytes); },
            [&progress](std::size_t count) { progress.advance(count); });
        if (done) {
            progress.finish();
        }
        return done;
    }

    void erase()
    {
        if (plan_.erases.everything) {
            Progress progress{narration_, "erase", 1, "chips"};
            erase_and_look(device_.erase_all, [](const Piece&) { return true; });
            progress.advance(1);
            progress.finish();
            return;
        }
        Progress progress{narration_, "erase", bytes_of(plan_.erases.blocks), "bytes"};
        for (const Piece& block : plan_.erases.blocks) {
            stop_if_interrupted();
            erase_and_look([&block] { block.memory->erase(block.range); },
                           [&block](const Piece& byte) {
                               return byte.memory == block.memory && block.range.contains(byte.range);
                           });
            progress.advance(block.range.length);
        }
        progress.finish();
    }

    // The verification will show everything. This shows in time what would spoil all that follows.
    void erase_and_look(const std::function<void()>& erase, const std::function<bool(const Piece&)>& belongs)
    {
        erases_.run([&]() -> std::optional<NotBlank> {
            erase();
            for (const Piece& byte : plan_.set_bytes) {
                const auto found = belongs(byte) ? find_not_blank(*byte.memory, byte.range.first) : std::nullopt;
                if (found) {
                    return found;
                }
            }
            return std::nullopt;
        });
    }

    std::uint64_t write(const std::vector<Piece>& pieces)
    {
        const std::uint64_t total = bytes_of(pieces);
        Progress progress{narration_, "write", total, "bytes"};
        std::vector<std::uint8_t> bytes;
        for (const Piece& piece : pieces) {
            for_each_part(piece.range, [&](const Range& part) {
                bytes.resize(part.size());
                plan_.contents.fill(part, bytes);
                piece.memory->write(part.first, bytes, [&progress](std::size_t count) { progress.advance(count); });
            });
        }
        progress.finish();
        return total;
    }

    std::uint64_t verify()
    {
        Comparison comparison = compare(device_, plan_.changes, plan_.contents, narration_);
        if (!comparison.differing_units.empty() && erases_.lift_protection()) {
            write_again(comparison.differing_units);
            comparison = compare(device_, plan_.changes, plan_.contents, narration_);
        }
        if (!comparison.differing_units.empty()) {
            throw comparison.mismatches
                .failure("what was written", device_.name,
                         comparison.differing_units.front().memory->traits.mismatch_hint)
                .half_written();
        }
        return comparison.bytes;
    }

    void write_again(const std::vector<Piece>& units)
    {
        for (const Piece& unit : units) {
            if (!unit.memory->traits.blocks.empty()) {
                unit.memory->erase(unit.range);
            }
        }
        write(units);
    }

    const Device& device_;
    const Plan& plan_;
    const bool verifies_;
    const Narration narration_;
    ProvenErases erases_;
};

} // namespace

ProgramResult execute(const Device& device, const Plan& plan, bool verify, const Narration& narration)
{
    return plan.changes_nothing() ? ProgramResult{} : Execution{device, plan, verify, narration}.run();
}

std::string describe_changes(const Plan& plan, std::string_view units)
{
    return plan.changed_units ? fmt::format("{} of {} {} changed", *plan.changed_units, plan.touched_units, units)
                              : fmt::format("{} of {} {} written", plan.written_units, plan.touched_units, units);
}

const char* describe_verification(const Plan& plan, const ProgramResult& result)
{
    if (plan.changes_nothing()) {
        return "equal already";
    }
    return result.verified_bytes != 0 ? "verified" : "not verified";
}

} // namespace tessit::cli
