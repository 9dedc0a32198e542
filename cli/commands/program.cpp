#include "base/path.h"
#include "cli/commands/on_probes.h"
#include "cli/commands/program_chip.h"
#include "cli/firmware/firmware.h"
#include "cli/firmware/sha256.h"
#include "cli/line/record.h"
#include "cli/line/unit_values.h"

#include <fmt/format.h>
#include <iterator>
#include <memory>
#include <optional>

namespace tessit::cli {
namespace {

struct Options
{
    std::vector<std::string> files; // and values
    std::string units;
    std::string record;
    ProgramOptions program;
};

// What goes into each unit besides the image.
class OwnValues
{
public:
    OwnValues(UnitValues of_all, const std::string& units_file) : of_all_{std::move(of_all)}
    {
        if (!units_file.empty()) {
            units_.emplace(base::path_of(units_file));
        }
    }

    UnitValues of(std::uint32_t serial) const
    {
        UnitValues values = of_all_;
        const UnitValues& own = of_unit(serial);
        values.insert(values.end(), own.begin(), own.end());
        return values;
    }

    // Those that the file gives, as they are typed.
    std::vector<std::string> words_for(std::uint32_t serial) const
    {
        std::vector<std::string> words;
        std::ranges::transform(of_unit(serial), std::back_inserter(words), &format_unit_value);
        return words;
    }

private:
    const UnitValues& of_unit(std::uint32_t serial) const
    {
        static const UnitValues none;
        return units_ ? units_->of(serial) : none;
    }

    UnitValues of_all_;
    std::optional<Units> units_;
};

// Takes the values from among the files.
UnitValues take_values(std::vector<std::string>& files)
{
    UnitValues values;
    std::erase_if(files, [&values](const std::string& word) {
        const std::optional<UnitValue> value = parse_unit_value(word);
        if (value) {
            values.push_back(*value);
        }
        return value.has_value();
    });
    if (files.empty()) {
        throw Failure{ExitCode::usage, "program needs a firmware file, and only values are given",
                      "`tessit write --flash` writes words into a chip that has its firmware."};
    }
    return values;
}

Image with_values(Image image, const UnitValues& values)
{
    add_values(image, values);
    return image;
}

ExitCode run(const Invocation& invocation, const Options& options)
{
    std::vector<std::string> files = options.files;
    const OwnValues values{take_values(files), options.units};
    const Image image = read_firmware(files);
    const Record record{base::path_of(options.record), sha256(image)};
    LineOptions line;
    line.consequence =
        options.program.recovers ? "What a protected chip holds is erased first: flash, UICR and RAM." : "";
    line.more_words = [&](std::uint32_t serial) {
        with_values(image, values.of(serial)); // refuses before anything is begun
        return values.words_for(serial);
    };
    if (!options.record.empty()) {
        record.require_writable();
        line.ended = [&](const Outcome& outcome) { record.append(outcome, values.of(outcome.serial)); };
    }
    const auto work = [&](Target& target) {
        const Image whole = with_values(image, values.of(target.session().serial()));
        Report report = program_chip(target, whole, options.program, invocation.console);
        report.json["values"] = to_json(values.of(target.session().serial()));
        return report;
    };
    return run_on_probes(invocation, work, line);
}

} // namespace

Command add_program(const Verb& root)
{
    const Verb verb = root.verb("program", "Write firmware files to the flash and the UICR, and verify them");
    const auto options = std::make_shared<Options>();
    verb.text_list("FILES", "", options->files,
                   "Intel HEX, S-record, ELF, or raw binary with its address: app.bin@0x20000; and ADDR=VALUE for a "
                   "32-bit word of this unit's own")
        .required();
    verb.text("--units", "FILE", options->units,
              "Words of each unit's own from a CSV file: serial,ADDR,... and a line for each probe");
    verb.text("--record", "FILE", options->record, "Append what became of each board, a line of JSON");
    add_program_options(verb, options->program);
    verb.flag("--reset", options->program.reset, "Reset the chip afterwards and let it run");
    return {verb, [options](const Invocation& invocation) { return run(invocation, *options); }};
}

} // namespace tessit::cli
