#include "base/little_endian.h"
#include "base/path.h"
#include "cli/chip/ram_power.h"
#include "cli/commands/bounds.h"
#include "cli/commands/on_probes.h"
#include "cli/firmware/firmware.h"
#include "cli/session/memory_map.h"
#include "cli/terminal/progress.h"
#include "cli/text/lists.h"
#include "cli/text/serial_mark.h"
#include "cli/text/table.h"

#include <fmt/format.h>
#include <memory>
#include <optional>

namespace tessit::cli {
namespace {

struct Options
{
    std::string range;
    std::string output;
    bool as_words = false;
};

bool is_area_name(const std::string& text)
{
    return text == "flash" || text == "uicr" || text == "ficr" || text == "ram";
}

// A range, the name of an area, or an address, which stands for its word.
Range parse_fixed_range(const std::string& text)
{
    if (text == "uicr") {
        return memory_map::uicr;
    }
    if (text == "ficr") {
        return memory_map::ficr;
    }
    return text.find_first_of("-+") == std::string::npos ? Range{parse_word_address(text), 4} : parse_range(text);
}

Range resolve_range(const std::string& text, const Target& target)
{
    if (text == "flash") {
        return target.flash_geometry().flash();
    }
    if (text == "ram") {
        return {memory_map::ram_start, read_ram_sections(target.session()).total_bytes()};
    }
    return parse_fixed_range(text);
}

std::string save(const std::string& output, const Range& range, const std::vector<std::uint8_t>& bytes)
{
    write_firmware(base::path_of(output), range.first, bytes);
    return fmt::format("Read {} ({}) into {}.\n", format_size(range.length), format_range(range), output);
}

std::string dump(const Options& options, const Range& range, const std::vector<std::uint8_t>& bytes)
{
    return options.as_words ? format_word_dump(range.first, bytes) : format_hex_dump(range.first, bytes);
}

void add_content(const Options& options, const std::vector<std::uint8_t>& bytes, Json& json)
{
    if (!options.as_words) {
        json["data"] = hex(bytes);
        return;
    }
    json["words"] = Json::list();
    for (std::size_t i = 0; i < bytes.size(); i += 4) {
        json["words"].push_back(little_endian::load_u32(std::span{bytes}.subspan(i, 4)));
    }
}

Report read(const Target& target, const Options& options, const Console& console)
{
    RunStateKeeper run_state{target};
    const Range range = resolve_range(options.range, target);
    require_within_memory(target, range);
    std::vector<std::uint8_t> bytes(range.size());
    const bool shows_progress = !options.output.empty() && bytes.size() > transfer_chunk;
    Progress progress{{console, target.session().clock()}, "read", shows_progress ? bytes.size() : 0, "bytes"};
    target.read(range.first, bytes, [&progress](std::size_t count) { progress.advance(count); });
    progress.finish();
    run_state.restore();

    Json json{{"address", range.first}, {"length", range.length}};
    if (options.output.empty()) {
        add_content(options, bytes, json);
        return {dump(options, range, bytes), std::move(json)};
    }
    const std::string output = with_serial(options.output, target.session().serial());
    json["output"] = output;
    return {save(output, range, bytes), std::move(json)};
}

ExitCode run(const Invocation& invocation, const Options& options)
{
    if (!is_area_name(options.range)) {
        const Range range = parse_fixed_range(options.range);
        if (options.as_words && (range.first % 4 != 0 || range.length % 4 != 0)) {
            throw Failure{ExitCode::usage, fmt::format("the range '{}' does not consist of whole words", options.range),
                          "Leave --words away, or begin and end at multiples of 4."};
        }
    }
    if (!options.output.empty()) {
        require_writable_file(base::path_of(options.output));
    }
    require_own_files(invocation.settings, "--output", options.output);
    LineOptions line;
    line.shows_reports = true;
    return run_on_probes(
        invocation, [&](Target& target) { return read(target, options, invocation.console); }, line);
}

} // namespace

Command add_read(const Verb& root)
{
    const Verb verb = root.verb("read", "Show memory as a hex dump, or save it to a file");
    const auto options = std::make_shared<Options>();
    verb.text("RANGE", "", options->range,
              "FIRST-END (END excluded), FIRST+LENGTH, an address for its word, or flash, uicr, ficr, ram")
        .required();
    verb.text("-o,--output", "FILE", options->output,
              "Save to FILE.bin (raw) or FILE.hex (Intel HEX); {serial} in it stands for the probe's");
    verb.flag("-w,--words", options->as_words, "Show 32-bit words instead of bytes");
    return {verb, [options](const Invocation& invocation) { return run(invocation, *options); }};
}

} // namespace tessit::cli
