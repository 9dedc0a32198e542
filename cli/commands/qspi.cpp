// The external flash behind the QSPI peripheral.
#include "cli/commands/on_probes.h"
#include "cli/firmware/file.h"
#include "cli/firmware/firmware.h"
#include "cli/qspi/connection.h"
#include "cli/qspi/external_flash.h"
#include "cli/qspi/plan.h"
#include "cli/qspi/programmer.h"
#include "cli/terminal/progress.h"
#include "cli/text/table.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fmt/format.h>
#include <memory>
#include <optional>

namespace tessit::cli {
namespace {

using Clock = std::chrono::steady_clock;

struct Options
{
    std::shared_ptr<QspiConnectionFlags> connection = std::make_shared<QspiConnectionFlags>();
    bool retains_ram = false;
    bool verify = true;
    // of read and erase
    std::string range;
    std::string output;
    bool all = false;
    // of write and verify
    std::vector<std::string> files;
    std::uint32_t base = 0;
    qspi::EraseMode erase = qspi::EraseMode::blocks;
    // of custom
    std::string opcode;
    std::vector<std::string> bytes;
    std::uint32_t received = 0;
    // of example
    std::string file;
};

constexpr Choice<qspi::EraseMode> erase_modes[]{
    {"blocks", qspi::EraseMode::blocks}, {"all", qspi::EraseMode::all}, {"none", qspi::EraseMode::none}};

std::uint8_t parse_byte(const std::string& text, const char* what)
{
    const std::uint32_t value = parse_u32(text, what);
    if (value > 0xFF) {
        throw Failure{ExitCode::usage, fmt::format("the {} '{}' is larger than 0xff", what, text),
                      "Instructions consist of bytes: an opcode and what follows it."};
    }
    return static_cast<std::uint8_t>(value);
}

// What a verb does with the flash. What it returns is shown.
using FlashWork = std::function<Report(const ExternalFlash& flash)>;

// Where the firmware's RAM was used it cannot simply go on.
void leave(ExternalFlash& flash, RunStateKeeper& run_state, const Session& session, const Invocation& invocation)
{
    flash.release();
    if (flash.retains_ram()) {
        run_state.restore();
        return;
    }
    invocation.console.note(fmt::format("The CPU is halted and part of its RAM was used; `{}` starts the firmware.",
                                        session.command_line("reset")));
}

ExitCode run_on_flash(const Invocation& invocation, const Options& options, bool needs_flash, const FlashWork& work)
{
    const QspiConnection connection = resolve_qspi_connection(*options.connection);
    return run_on_probe(invocation, [&](Target& target) {
        RunStateKeeper run_state{target};
        if (!options.retains_ram) {
            run_state.release();
        }
        ExternalFlash flash{target.session(), connection, options.retains_ram};
        if (needs_flash) {
            flash.open();
        }
        Report report = work(flash);
        leave(flash, run_state, target.session(), invocation);
        report.json["probe"] = target.session().serial();
        return report;
    });
}

void require_reachable(const Range& range, const ExternalFlash& flash, const char* what, const char* consequence)
{
    const Range reachable = flash.reachable();
    if (reachable.contains(range)) {
        return;
    }
    if (range.end() <= flash.size()) {
        throw Failure{ExitCode::usage,
                      fmt::format("{} {} reaches beyond the first 16 MiB of the external flash{}", what,
                                  format_range(range), consequence),
                      "Addresses of 24 bits go no further: set --address-bits 32."};
    }
    throw Failure{
        ExitCode::usage,
        fmt::format("{} {} reaches beyond the external flash, which has {} ({}){}", what, format_range(range),
                    format_size(flash.size()), format_range({0, flash.size()}), consequence),
        "Check the addresses; --base tells where the file's addresses begin, --flash-size corrects a size that "
        "the flash tells wrongly."};
}

Image shifted(const Image& image, std::uint32_t base)
{
    Image moved;
    for (const Segment& segment : image.segments()) {
        if (segment.address < base) {
            throw Failure{ExitCode::usage,
                          fmt::format("the image holds data for {:#010x}, which lies before --base {:#010x}",
                                      segment.address, base),
                          "Give the address at which the file sees the first byte of the external flash."};
        }
        // What did not overlap does not overlap elsewhere.
        static_cast<void>(moved.add(segment.address - base, segment.bytes));
    }
    return moved;
}

Image read_image(const Options& options)
{
    return shifted(read_firmware(options.files), options.base);
}

void require_image_fits(const Image& image, const ExternalFlash& flash, const char* consequence)
{
    for (const Segment& segment : image.segments()) {
        require_reachable(segment.range(), flash, "the image's part", consequence);
    }
}

Report describe(const ExternalFlash& flash)
{
    const QspiConnection& connection = flash.connection();
    const auto& identification = flash.identification();
    const std::string bytes = fmt::format("{:02x}", fmt::join(identification.bytes, " "));
    const std::uint32_t told = identification.size();
    const std::uint32_t size = told == 0 && !connection.flash_size ? 0 : flash.size();
    const std::uint8_t status = flash.read_status();
    const auto& config = connection.config;
    std::string text = format_table({
        {"Identification", fmt::format("{} (manufacturer, type, capacity)", bytes)},
        {"Size",
         size == 0 ? "not told" : format_size(size) + (connection.flash_size ? " (given by --flash-size)" : "")},
        {"Status register", fmt::format("{:#04x}", status)},
        {"Page", format_size(connection.page_bytes())},
        {"Addresses", fmt::format("{} bits", connection.address_bits())},
        {"Modes",
         fmt::format("read {}, write {}, SPI {}", static_cast<std::uint32_t>(config.read_mode),
                     static_cast<std::uint32_t>(config.write_mode), static_cast<std::uint32_t>(config.spi_mode))},
        {"Clock divider", std::to_string(connection.divider())},
    });
    return {std::move(text),
            {{"identification", identification.bytes},
             {"size", size == 0 ? Json{} : Json(size)},
             {"status", status},
             {"page_bytes", connection.page_bytes()},
             {"address_bits", connection.address_bits()}}};
}

ExitCode info(const Invocation& invocation, const Options& options)
{
    return run_on_flash(invocation, options, true, &describe);
}

ExitCode read(const Invocation& invocation, const Options& options)
{
    const std::optional<Range> given =
        options.range == "all" ? std::nullopt : std::optional{parse_range(options.range)};
    if (!options.output.empty()) {
        require_writable_format(options.output);
    }
    return run_on_flash(invocation, options, true, [&](const ExternalFlash& flash) -> Report {
        const Range range = given.value_or(Range{0, flash.size()});
        require_reachable(range, flash, "the range", "");
        std::vector<std::uint8_t> bytes(range.length);
        const bool shows_progress = !options.output.empty() && bytes.size() > transfer_chunk;
        Progress progress{invocation.console, "read", shows_progress ? bytes.size() : 0, "bytes"};
        flash.read(range.first, bytes, [&progress](std::size_t count) { progress.advance(count); });
        progress.finish();
        Json json{{"address", range.first}, {"length", range.length}};
        if (options.output.empty()) {
            json["data"] = fmt::format("{:02x}", fmt::join(bytes, ""));
            return {format_hex_dump(range.first, bytes), std::move(json)};
        }
        write_firmware(options.output, range.first, bytes);
        json["output"] = options.output;
        return {fmt::format("Read {} of the external flash ({}) into {}.\n", format_size(range.length),
                            format_range(range), options.output),
                std::move(json)};
    });
}

qspi::Plan make_plan(const ExternalFlash& flash, const Image& image, qspi::EraseMode mode, const Console& console)
{
    const bool reads = mode != qspi::EraseMode::all;
    Progress progress{console, "read", reads ? qspi::touched_sectors(image).size() * qspi::sector_bytes : 0, "bytes"};
    qspi::Plan plan = qspi::plan_write(
        image, flash.size(), flash.connection().page_bytes(), mode, [&flash, &progress](std::uint32_t address) {
            std::vector<std::uint8_t> bytes(qspi::sector_bytes);
            flash.read(address, bytes, [&progress](std::size_t count) { progress.advance(count); });
            return bytes;
        });
    progress.finish();
    return plan;
}

std::string describe_erases(const qspi::Plan& plan)
{
    if (plan.erases.empty()) {
        return "nothing erased";
    }
    if (plan.erases.front().length == ERASEALL) {
        return "the whole flash erased";
    }
    std::uint64_t bytes = 0;
    for (const qspi::Erase& erase : plan.erases) {
        bytes += erase.bytes;
    }
    return fmt::format("{} erased in {} block{}", format_size(bytes), plan.erases.size(),
                       plan.erases.size() == 1 ? "" : "s");
}

Report summarize(const qspi::Plan& plan, std::uint64_t verified_bytes, Clock::duration elapsed)
{
    const std::uint64_t written = plan.bytes_to_write();
    const double seconds = std::chrono::duration<double>{elapsed}.count();
    const char* const verification = plan.sectors.empty()  ? "equal already"
                                     : verified_bytes != 0 ? "verified"
                                                           : "not verified";
    std::string text =
        fmt::format("Wrote {} to the external flash: {} of {} sectors changed, {}, {} written, {}; {}.\n",
                    format_size(plan.image_bytes), plan.sectors.size(), plan.touched_sectors, describe_erases(plan),
                    format_size(written), verification, format_seconds(elapsed));
    Json erases = Json::list();
    for (const qspi::Erase& erase : plan.erases) {
        erases.push_back({{"address", erase.address}, {"bytes", erase.bytes}});
    }
    Json json{{"image_bytes", plan.image_bytes},
              {"sectors_touched", plan.touched_sectors},
              {"sectors_changed", plan.sectors.size()},
              {"erases", std::move(erases)},
              {"written_bytes", written},
              {"verified_bytes", verified_bytes},
              {"seconds", seconds}};
    return {std::move(text), std::move(json)};
}

ExitCode write(const Invocation& invocation, const Options& options)
{
    const Image image = read_image(options);
    return run_on_flash(invocation, options, true, [&](const ExternalFlash& flash) {
        const auto start = Clock::now();
        require_image_fits(image, flash, "; nothing was erased");
        const qspi::Plan plan = make_plan(flash, image, options.erase, invocation.console);
        const std::uint64_t verified = qspi::execute(flash, plan, options.verify, invocation.console);
        return summarize(plan, verified, Clock::now() - start);
    });
}

ExitCode verify(const Invocation& invocation, const Options& options)
{
    const Image image = read_image(options);
    return run_on_flash(invocation, options, true, [&](const ExternalFlash& flash) -> Report {
        require_image_fits(image, flash, "");
        qspi::compare(flash, image, invocation.console)
            .require_none(fmt::format("{}", fmt::join(options.files, ", ")), "the external flash",
                          "`tessit qspi write` writes the file anew.");
        return {fmt::format("Verified {} of the external flash: equal.\n", format_size(image.size())),
                {{"image_bytes", image.size()}, {"equal", true}}};
    });
}

void require_whole_sectors(const Range& range)
{
    constexpr std::uint64_t sector = qspi::sector_bytes;
    if (range.first % sector == 0 && range.length % sector == 0) {
        return;
    }
    const std::uint64_t first = range.first / sector * sector;
    const std::uint64_t end = (range.end() + sector - 1) / sector * sector;
    throw Failure{ExitCode::usage,
                  fmt::format("the range {} does not consist of whole sectors of {}; nothing was erased",
                              format_range(range), format_size(sector)),
                  fmt::format("The sectors that it touches are --range {}.",
                              format_range({static_cast<std::uint32_t>(first), end - first}))};
}

ExitCode erase(const Invocation& invocation, const Options& options)
{
    if (options.all != options.range.empty()) {
        throw Failure{ExitCode::usage, "qspi erase needs to be told what to erase",
                      "Either --all, or --range A-B in whole sectors of 4 KiB."};
    }
    std::optional<Range> given;
    if (!options.all) {
        given = parse_range(options.range);
        require_whole_sectors(*given);
    }
    return run_on_flash(invocation, options, true, [&](const ExternalFlash& flash) -> Report {
        const auto start = Clock::now();
        const Range range = given.value_or(Range{0, flash.size()});
        if (given) {
            require_reachable(range, flash, "the range", "; nothing was erased");
        }
        std::vector<qspi::SectorState> states(flash.size() / qspi::sector_bytes, qspi::SectorState::kept);
        std::fill_n(states.begin() + range.first / qspi::sector_bytes, range.length / qspi::sector_bytes,
                    qspi::SectorState::erased);
        qspi::erase(flash, qspi::plan_erases(states), invocation.console);
        if (options.verify) {
            const std::uint64_t seen = std::min<std::uint64_t>(range.end(), flash.reachable().end());
            qspi::require_blank(flash, {range.first, seen - range.first}, invocation.console);
        }
        return {fmt::format("Erased {} of the external flash in {}.\n", format_size(range.length),
                            format_seconds(Clock::now() - start)),
                {{"address", range.first}, {"length", range.length}, {"verified", options.verify}}};
    });
}

ExitCode custom(const Invocation& invocation, const Options& options)
{
    const std::uint8_t opcode = parse_byte(options.opcode, "opcode");
    std::vector<std::uint8_t> bytes;
    for (const std::string& text : options.bytes) {
        bytes.push_back(parse_byte(text, "byte"));
    }
    return run_on_flash(invocation, options, false, [&](const ExternalFlash& flash) -> Report {
        const std::vector<std::uint8_t> answer = flash.instruct(opcode, bytes, options.received);
        const auto received = std::span{answer}.last(options.received);
        const std::string text = fmt::format("{:02x}", fmt::join(received, " "));
        return {text.empty() ? fmt::format("Sent the instruction {:#04x}.\n", opcode) : text + "\n",
                {{"opcode", opcode}, {"sent", bytes}, {"received", std::vector(received.begin(), received.end())}}};
    });
}

ExitCode example(const Invocation& invocation, const Options& options)
{
    std::error_code ignored;
    if (std::filesystem::exists(options.file, ignored)) {
        throw Failure{ExitCode::failure, fmt::format("{} exists already", options.file),
                      "Choose another name, or remove the file first."};
    }
    const std::string text = example_qspi_connection();
    write_file(options.file, {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
    invocation.console.show(fmt::format("Wrote {}. Fill in the pins of your board, then: tessit qspi --qspi-config {} "
                                        "info\n",
                                        options.file, options.file),
                            {{"file", options.file}});
    return ExitCode::done;
}

using Run = ExitCode (*)(const Invocation&, const Options&);

void add_files(const Verb& verb, const std::shared_ptr<Options>& options)
{
    verb.text_list("FILES", "", options->files,
                   "Intel HEX, S-record, ELF, or raw binary with its address: image.bin@0x0")
        .required();
    verb.parsed(
        "--base", "ADDR", [options](const std::string& text) { options->base = parse_u32(text, "base"); },
        "Address at which the files see the first byte of the flash; default 0");
}

Verb add_write(const Verb& root, const std::shared_ptr<Options>& options)
{
    const Verb verb = root.verb("write", "Write files to the flash, and verify them");
    add_files(verb, options);
    verb.choice("--erase", erase_modes, options->erase,
                "What to erase before: the blocks that need it, the whole flash, or nothing")
        .with_default("blocks");
    const Option verify = verb.flag("--verify", options->verify, "Read back and compare, which is the default");
    verb.off_flag("--no-verify", options->verify, "Leave the comparison out").excludes(verify);
    return verb;
}

Verb add_verify(const Verb& root, const std::shared_ptr<Options>& options)
{
    const Verb verb = root.verb("verify", "Compare the flash with files");
    add_files(verb, options);
    return verb;
}

Verb add_read(const Verb& root, const std::shared_ptr<Options>& options)
{
    const Verb verb = root.verb("read", "Show a part of the flash as a hex dump, or save it");
    verb.text("RANGE", "", options->range, "FIRST-END (END excluded), FIRST+LENGTH, or all").required();
    verb.text("-o,--output", "FILE", options->output, "Save to FILE.bin (raw) or FILE.hex (Intel HEX)");
    return verb;
}

Verb add_erase(const Verb& root, const std::shared_ptr<Options>& options)
{
    const Verb verb = root.verb("erase", "Erase the flash or a part of it");
    verb.flag("--all", options->all, "The whole flash");
    verb.text("--range", "RANGE", options->range, "Sectors of 4 KiB: FIRST-END (END excluded) or FIRST+LENGTH");
    const Option verify = verb.flag("--verify", options->verify, "Check that all is blank, which is the default");
    verb.off_flag("--no-verify", options->verify, "Leave the check out").excludes(verify);
    return verb;
}

Verb add_custom(const Verb& root, const std::shared_ptr<Options>& options)
{
    const Verb verb = root.verb("custom", "Send an instruction to the flash");
    verb.text("OPCODE", "", options->opcode, "First byte of the instruction, such as 0x9f").required();
    verb.text_list("BYTE", "", options->bytes, "Bytes sent after it");
    verb.parsed(
        "--receive", "N",
        [options](const std::string& text) { options->received = parse_u32(text, "number of bytes"); },
        "Bytes to receive after those");
    return verb;
}

Verb add_example(const Verb& root, const std::shared_ptr<Options>& options)
{
    const Verb verb = root.verb("example", "Write a commented connection file to start from");
    verb.text("FILE", "", options->file, "File to write; must not exist").required();
    return verb;
}

} // namespace

Command add_qspi(const Verb& root)
{
    const Verb qspi = root.verb("qspi", "Work with the external flash behind the QSPI peripheral");
    const auto options = std::make_shared<Options>();
    qspi.require_verb();
    add_qspi_connection_flags(qspi, options->connection);
    qspi.flag("--retain-ram", options->retains_ram,
              "Put the RAM back that is used on the way, and let the firmware go on");
    const std::vector<std::pair<Verb, Run>> verbs{
        {qspi.verb("info", "Show what flash answers"), &info},
        {add_read(qspi, options), &read},
        {add_write(qspi, options), &write},
        {add_verify(qspi, options), &verify},
        {add_erase(qspi, options), &erase},
        {add_custom(qspi, options), &custom},
        {add_example(qspi, options), &example},
    };
    for (const auto& [verb, run] : verbs) {
        verb.footer("The connection is given as `tessit qspi --help` shows.");
    }
    return {qspi, [options, verbs](const Invocation& invocation) {
                const auto verb = std::ranges::find_if(verbs, [](const auto& each) { return each.first.is_chosen(); });
                return verb->second(invocation, *options);
            }};
}

} // namespace tessit::cli
