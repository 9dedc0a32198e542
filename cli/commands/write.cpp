#include "base/little_endian.h"
#include "base/path.h"
#include "cli/commands/bounds.h"
#include "cli/commands/on_probes.h"
#include "cli/firmware/file.h"
#include "cli/memory/erased_bytes.h"
#include "cli/memory/mismatches.h"
#include "cli/session/memory_map.h"

#include <fmt/format.h>
#include <memory>

namespace tessit::cli {
namespace {

constexpr const char* ficr_consequence = "What is written to the factory area can never be erased again.";

struct Options
{
    std::string address;
    std::vector<std::string> values;
    std::string file;
    bool flash = false;
    bool ficr = false;
    bool allow_protect = false;
};

struct Data
{
    std::uint32_t address = 0;
    std::vector<std::uint8_t> bytes;

    Range range() const { return {address, bytes.size()}; }
};

Data collect(const Options& options)
{
    Data data{parse_word_address(options.address), {}};
    if (options.values.empty() == options.file.empty()) {
        throw Failure{ExitCode::usage, "write needs either values or --file FILE",
                      "tessit write 0x20000000 0x1234 0x5678, or tessit write 0x20000000 --file data.bin"};
    }
    if (!options.file.empty()) {
        const std::string content = read_file(base::path_of(options.file));
        data.bytes.assign(content.begin(), content.end());
    }
    for (const std::string& value : options.values) {
        data.bytes.resize(data.bytes.size() + 4);
        little_endian::store_u32(std::span{data.bytes}.last(4), parse_u32(value, "value"));
    }
    if (data.bytes.empty()) {
        throw Failure{ExitCode::failure, fmt::format("{}: the file is empty", options.file), "Give a file with data."};
    }
    if (data.range().end() > std::uint64_t{1} << 32) {
        throw Failure{ExitCode::usage, "the data reaches beyond 4 GiB", "Begin at a lower address."};
    }
    return data;
}

bool overlaps(const Range& a, const Range& b)
{
    return a.first < b.end() && b.first < a.end();
}

// The chip ignores a write that takes the wrong way, without telling anybody.
void require_right_way(const Options& options, const Data& data)
{
    const Range range = data.range();
    const Range flash_area{memory_map::flash_start, memory_map::ficr.first};
    const bool in_flash = overlaps(range, flash_area) || overlaps(range, memory_map::uicr);
    const bool in_ficr = overlaps(range, memory_map::ficr);
    const auto refuse = [&](const char* reason, const char* hint) {
        throw Failure{ExitCode::usage, fmt::format("{} {}", format_range(range), reason), hint};
    };
    if (options.ficr && !memory_map::ficr.contains(range)) {
        refuse("is not in the factory area", "Leave --ficr away.");
    }
    if (in_ficr && !options.ficr) {
        refuse("is in the factory area, where the chip ignores plain writes", "Add --ficr if that is what you want.");
    }
    if (in_flash && !options.flash) {
        refuse("is in flash or UICR, where the chip ignores plain writes",
               "Add --flash to write through the flash controller.");
    }
    if (options.flash && !in_flash) {
        refuse("is neither in flash nor in UICR", "Leave --flash away.");
    }
    if (options.ficr && data.bytes.size() % 4 != 0) {
        refuse("does not consist of whole words", "Fill the file up to a multiple of 4 bytes.");
    }
    const bool protects = range.contains(std::uint64_t{memory_map::uicr_approtect}) &&
                          data.bytes[memory_map::uicr_approtect - data.address] != 0xFF;
    if (protects && !options.allow_protect) {
        refuse("would turn readback protection on", "Use `tessit protect`, or add --allow-protect.");
    }
}

void require_writable(const Target& target, const Data& data, bool in_ficr)
{
    const char* const hint = in_ficr ? "A word of the factory area can be written once, and nothing erases it."
                                     : "Erase first with `tessit erase`, or use `tessit program`, which does both.";
    const std::vector<std::uint8_t> current = target.read(data.range());
    if (const auto offset = first_unwritable(current, data.bytes)) {
        throw Failure{ExitCode::failure,
                      fmt::format("the byte at {:#010x} holds {:#04x} and cannot become {:#04x} without an erase; "
                                  "nothing was written",
                                  data.address + *offset, current[*offset], data.bytes[*offset]),
                      hint};
    }
}

void require_written(const Target& target, const Data& data)
{
    Mismatches mismatches;
    mismatches.compare(data.address, data.bytes, target.read(data.range()));
    mismatches.require_none("what was written", "the chip",
                            "Read it with `tessit read`. Flash may be block-protected: `tessit program` lifts that.");
}

Report write(const Target& target, const Options& options, const Data& data)
{
    RunStateKeeper run_state{target};
    require_within_memory(target, data.range());
    if (options.ficr || options.flash) {
        require_writable(target, data, options.ficr);
        run_state.release();
    }
    if (options.ficr) {
        target.session().check(
            TESSIT_ficrwrite(data.address, data.bytes.data(), static_cast<std::uint32_t>(data.bytes.size())),
            fmt::format("write the factory area at {:#010x}", data.address));
    } else {
        target.write(data.address, data.bytes, options.flash ? WritePath::flash_controller : WritePath::bus);
    }
    if (options.ficr || options.flash) {
        require_written(target, data);
    }
    run_state.restore();
    return {fmt::format("Wrote {} at {:#010x}{}.\n", format_size(data.bytes.size()), data.address,
                        options.ficr || options.flash ? "; the CPU is halted" : ""),
            {{"address", data.address}, {"length", data.bytes.size()}}};
}

ExitCode run(const Invocation& invocation, const Options& options)
{
    const Data data = collect(options);
    require_right_way(options, data);
    LineOptions line;
    line.consequence = options.ficr ? ficr_consequence : "";
    const auto work = [&](Target& target) {
        if (options.ficr) {
            invocation.console.confirm(ficr_consequence);
        }
        return write(target, options, data);
    };
    return run_on_probes(invocation, work, line);
}

} // namespace

Command add_write(const Verb& root)
{
    const Verb verb = root.verb("write", "Write words, or a file's bytes, to memory or registers");
    const auto options = std::make_shared<Options>();
    verb.text("ADDR", "", options->address, "Address, a multiple of 4").required();
    verb.text_list("VALUE", "", options->values, "32-bit words, written one after the other");
    verb.text("--file", "FILE", options->file, "Write the bytes of a file instead");
    const Option flash =
        verb.flag("--flash", options->flash, "Write flash or UICR through the flash controller, without an erase");
    verb.flag("--ficr", options->ficr, "Write the factory area, which cannot be undone").excludes(flash);
    verb.flag("--allow-protect", options->allow_protect, "Accept a value that turns readback protection on");
    return {verb, [options](const Invocation& invocation) { return run(invocation, *options); }};
}

} // namespace tessit::cli
