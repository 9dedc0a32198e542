#include "sim/bench/register_table.h"

#include "base/path.h"
#include "sim/cpu/exceptions.h"
#include "sim/state/chip_state.h"

#include <algorithm>
#include <fmt/format.h>
#include <limits>

namespace jlinksim {
namespace {

constexpr std::uint32_t first_address = 0x40000000; // where the address map has peripherals
constexpr std::uint32_t end_address = 0x60000000;
constexpr std::uint32_t most_side_by_side = 1024;
constexpr std::uint32_t word_max = std::numeric_limits<std::uint32_t>::max();

/// An effect whose register may be declared further down.
struct OpenEffect
{
    std::size_t of;
    std::size_t index;
    TableReader table;
    const char* key;
    std::string target;
};

class Reader
{
public:
    explicit Reader(const std::filesystem::path& folder) : folder_(folder) {}

    std::vector<RegisterOptions> read(TableReader& chip)
    {
        std::size_t words = 0;
        for (TableReader& table : chip.tables("register")) {
            add(table);
            words += registers_.back().state_words();
        }
        if (words > VolatileState::declared_register_words) {
            chip.fail("register", fmt::format("they are too many: each takes 1, and 1 for each of its count and "
                                              "effects, together at most {}",
                                              VolatileState::declared_register_words));
        }
        for (const OpenEffect& effect : open_effects_) {
            resolve(effect);
        }
        return std::move(registers_);
    }

private:
    void add(TableReader& table)
    {
        RegisterOptions read;
        read.address = table.required_number("address", 0, word_max);
        read.name = table.text("name", fmt::format("0x{:08X}", read.address));
        read.width = table.number("size", read.width, 1, 4);
        read.count = table.number("count", 1, 1, most_side_by_side);
        require_place(table, read);
        const std::uint32_t most = word_max >> 8 * (4 - read.width);
        read.reset = table.number("reset", 0, 0, most);
        read.read_only = table.flag("read_only", false);
        if (const auto interrupt = table.number("interrupt", interrupt_count, 0, interrupt_count - 1);
            interrupt != interrupt_count) {
            read.interrupt = interrupt;
        }
        read.output = output_path(table);
        for (TableReader& effect : table.tables("on_write")) {
            add_effect(effect, read);
        }
        table.refuse_unknown_keys();
        registers_.push_back(std::move(read));
    }

    void require_place(const TableReader& table, const RegisterOptions& read) const
    {
        if (read.width == 3) {
            table.fail("size", "expected 1, 2 or 4");
        }
        if (read.address < first_address || read.address > end_address - read.bytes()) {
            table.fail("address", "expected an address of a peripheral, from 0x40000000 to 0x5FFFFFFF");
        }
        if (read.address % read.width != 0) {
            table.fail("address", fmt::format("expected a multiple of the size, {}", read.width));
        }
        for (const RegisterOptions& other : registers_) {
            if (other.name == read.name) {
                table.fail("name", fmt::format("'{}' is the name of another register, too", read.name));
            }
            if (read.address < other.address + other.bytes() && other.address < read.address + read.bytes()) {
                table.fail("address", fmt::format("{} is there", other.name));
            }
        }
    }

    std::string output_path(TableReader& table) const
    {
        const std::string name = table.text("output", "");
        if (name.empty()) {
            return {};
        }
        const std::filesystem::path path = folder_ / tessit::base::path_of(name);
        std::error_code ignored;
        if (std::filesystem::is_directory(path, ignored) ||
            !std::filesystem::is_directory(std::filesystem::absolute(path).parent_path(), ignored)) {
            table.fail("output", fmt::format("{} is no file in an existing folder", path.string()));
        }
        return path.string();
    }

    void add_effect(TableReader& table, RegisterOptions& read)
    {
        RegisterEffect effect;
        const std::string sets = table.text("sets", "");
        const std::string stops = table.text("stops", "");
        if (sets.empty() == stops.empty()) {
            table.fail("sets", "expected either the register that it sets, or in 'stops' the one that it stops");
        }
        effect.stops = sets.empty();
        effect.value = table.number("to", 1, 0, word_max);
        effect.after_ns = std::uint64_t{table.number("after_us", 0, 0, word_max)} * 1000;
        effect.repeats = table.flag("repeat", false);
        if (effect.repeats && effect.after_ns == 0) {
            table.fail("repeat", "expected 'after_us' beside it: how often");
        }
        table.refuse_unknown_keys();
        open_effects_.push_back({registers_.size(), read.effects.size(), table, effect.stops ? "stops" : "sets",
                                 effect.stops ? stops : sets});
        read.effects.push_back(effect);
    }

    void resolve(const OpenEffect& open)
    {
        const auto target = std::ranges::find(registers_, open.target, &RegisterOptions::name);
        if (target == registers_.end()) {
            open.table.fail(open.key, fmt::format("there is no register '{}'", open.target));
        }
        RegisterEffect& effect = registers_[open.of].effects[open.index];
        effect.target = static_cast<std::size_t>(target - registers_.begin());
        if (effect.value > word_max >> 8 * (4 - target->width)) {
            open.table.fail("to", fmt::format("{} has only {} bytes", target->name, target->width));
        }
    }

    const std::filesystem::path& folder_;
    std::vector<RegisterOptions> registers_;
    std::vector<OpenEffect> open_effects_;
};

} // namespace

std::vector<RegisterOptions> read_registers(TableReader& chip, const std::filesystem::path& folder)
{
    return Reader{folder}.read(chip);
}

} // namespace jlinksim
