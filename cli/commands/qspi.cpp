// The external flash behind the QSPI peripheral.
#include "base/path.h"
#include "cli/commands/qspi_content.h"
#include "cli/firmware/file.h"
#include "cli/text/lists.h"
#include "cli/text/table.h"

#include <algorithm>
#include <filesystem>
#include <fmt/format.h>

namespace tessit::cli {
namespace {

constexpr Choice<EraseMode> erase_modes[]{
    {"blocks", EraseMode::needed}, {"all", EraseMode::all}, {"none", EraseMode::none}};

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

Report describe(const ExternalFlash& flash)
{
    const QspiConnection& connection = flash.connection();
    const auto& identification = flash.identification();
    const std::string bytes = hex(identification.bytes, " ");
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

ExitCode info(const Invocation& invocation, const QspiOptions& options)
{
    return run_on_external_flash(invocation, options, true, &describe);
}

ExitCode custom(const Invocation& invocation, const QspiOptions& options)
{
    const std::uint8_t opcode = parse_byte(options.opcode, "opcode");
    std::vector<std::uint8_t> bytes;
    for (const std::string& text : options.bytes) {
        bytes.push_back(parse_byte(text, "byte"));
    }
    return run_on_external_flash(invocation, options, false, [&](const ExternalFlash& flash) -> Report {
        const std::vector<std::uint8_t> answer = flash.instruct(opcode, bytes, options.received);
        const auto received = std::span{answer}.last(options.received);
        const std::string text = hex(received, " ");
        return {text.empty() ? fmt::format("Sent the instruction {:#04x}.\n", opcode) : text + "\n",
                {{"opcode", opcode}, {"sent", bytes}, {"received", std::vector(received.begin(), received.end())}}};
    });
}

ExitCode example(const Invocation& invocation, const QspiOptions& options)
{
    std::error_code ignored;
    if (std::filesystem::exists(base::path_of(options.file), ignored)) {
        throw Failure{ExitCode::failure, fmt::format("{} exists already", options.file),
                      "Choose another name, or remove the file first."};
    }
    const std::string text = example_qspi_connection();
    write_file(base::path_of(options.file), {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
    invocation.console.show(fmt::format("Wrote {}. Fill in the pins of your board, then: tessit qspi --qspi-config {} "
                                        "info\n",
                                        options.file, options.file),
                            {{"file", options.file}});
    return ExitCode::done;
}

using Run = ExitCode (*)(const Invocation&, const QspiOptions&);

void add_files(const Verb& verb, const std::shared_ptr<QspiOptions>& options)
{
    verb.text_list("FILES", "", options->files,
                   "Intel HEX, S-record, ELF, or raw binary with its address: image.bin@0x0")
        .required();
    verb.parsed(
        "--base", "ADDR", [options](const std::string& text) { options->base = parse_u32(text, "base"); },
        "Address at which the files see the first byte of the flash; default 0");
}

Verb add_write(const Verb& root, const std::shared_ptr<QspiOptions>& options)
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

Verb add_verify(const Verb& root, const std::shared_ptr<QspiOptions>& options)
{
    const Verb verb = root.verb("verify", "Compare the flash with files");
    add_files(verb, options);
    return verb;
}

Verb add_read(const Verb& root, const std::shared_ptr<QspiOptions>& options)
{
    const Verb verb = root.verb("read", "Show a part of the flash as a hex dump, or save it");
    verb.text("RANGE", "", options->range, "FIRST-END (END excluded), FIRST+LENGTH, or all").required();
    verb.text("-o,--output", "FILE", options->output, "Save to FILE.bin (raw) or FILE.hex (Intel HEX)");
    return verb;
}

Verb add_erase(const Verb& root, const std::shared_ptr<QspiOptions>& options)
{
    const Verb verb = root.verb("erase", "Erase the flash or a part of it");
    verb.flag("--all", options->all, "The whole flash");
    verb.text("--range", "RANGE", options->range, "Sectors of 4 KiB: FIRST-END (END excluded) or FIRST+LENGTH");
    const Option verify = verb.flag("--verify", options->verify, "Check that all is blank, which is the default");
    verb.off_flag("--no-verify", options->verify, "Leave the check out").excludes(verify);
    return verb;
}

Verb add_custom(const Verb& root, const std::shared_ptr<QspiOptions>& options)
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

Verb add_example(const Verb& root, const std::shared_ptr<QspiOptions>& options)
{
    const Verb verb = root.verb("example", "Write a commented connection file to start from");
    verb.text("FILE", "", options->file, "File to write; must not exist").required();
    return verb;
}

} // namespace

ExitCode run_on_external_flash(const Invocation& invocation, const QspiOptions& options, bool needs_flash,
                               const QspiWork& work)
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
        return report;
    });
}

Command add_qspi(const Verb& root)
{
    const Verb qspi = root.verb("qspi", "Work with the external flash behind the QSPI peripheral");
    const auto options = std::make_shared<QspiOptions>();
    qspi.require_verb();
    add_qspi_connection_flags(qspi, options->connection);
    qspi.flag("--retain-ram", options->retains_ram,
              "Put the RAM back that is used on the way, and let the firmware go on");
    const std::vector<std::pair<Verb, Run>> verbs{
        {qspi.verb("info", "Show what flash answers"), &info},
        {add_read(qspi, options), &read_external_flash},
        {add_write(qspi, options), &write_external_flash},
        {add_verify(qspi, options), &verify_external_flash},
        {add_erase(qspi, options), &erase_external_flash},
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
