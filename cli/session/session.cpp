#include "cli/session/session.h"

#include "base/path.h"
#include "cli/platform/platform.h"
#include "cli/session/jlink_location.h"
#include "cli/session/result.h"
#include "cli/terminal/console.h"
#include "cli/terminal/stream.h"
#include "cli/time/wall_time.h"

#include <fmt/format.h>

namespace tessit::cli {
namespace {

void show_line(std::uint32_t serial, std::string_view line)
{
    print_to(stderr, "{}", stamped(local_time_of_day(), serial, line));
}

void show_event(std::uint32_t serial, std::string_view line)
{
    Course course;
    course.probe = serial == 0 ? std::nullopt : std::optional{serial};
    print_to(stderr, "{}\n", event_json(course, "log", {{"text", line}}).dump_line());
}

// Folded for people; a script is told every line.
FoldedLines shown_log(const Settings& settings)
{
    if (!settings.verbose) {
        return FoldedLines{{}};
    }
    return settings.events ? FoldedLines{&show_event, false} : FoldedLines{&show_line};
}

// The J-Link library has no code for it.
bool tells_of_holder(std::string_view reason)
{
    return reason.find("in use") != std::string_view::npos;
}

Failure not_loaded(const std::string& path)
{
    const ResultText& text = result_text(ERR_JLINK_LOAD_FAILED);
    constexpr int bits = 8 * sizeof(void*);
    return {text.exit_code,
            fmt::format("cannot use the J-Link library {}: {}: {}", path, text.meaning, why_not_loaded(path)),
            fmt::format("{} It has to be of {} bits, as this command is.", text.hint, bits)};
}

} // namespace

Session::Session(const Settings& settings)
    : settings_{settings},
      jlink_path_{find_jlink_library(settings)},
      log_{shown_log(settings), settings.log_file},
      clock_{settings.simulated ? std::make_unique<Clock>(jlink_path_) : std::make_unique<Clock>()}
{
    const result_code_t result = TESSIT_open_dll(platform::loadable_name(base::path_of(jlink_path_)).c_str(),
                                                 &LibraryLog::receive, BIRCH_FAMILY);
    if (result == ERR_JLINK_LOAD_FAILED) {
        throw not_loaded(jlink_path_);
    }
    check(result, fmt::format("use the J-Link library {}", jlink_path_));
}

Session::~Session()
{
    TESSIT_close_dll();
}

std::vector<std::uint32_t> Session::attached_probes() const
{
    std::uint32_t count = 0;
    check(TESSIT_enum_emu_snr(nullptr, 0, &count), "list the probes");
    std::vector<std::uint32_t> serials(count);
    check(TESSIT_enum_emu_snr(serials.data(), count, &count), "list the probes");
    // A probe may have come or gone between the two calls.
    serials.resize(std::min<std::size_t>(serials.size(), count));
    return serials;
}

void Session::connect(std::uint32_t serial)
{
    serial_ = serial;
    log_.at_probe(serial);
    const result_code_t result = TESSIT_connect_to_emu_with_snr(serial, settings_.speed_khz);
    if (const std::string said = log_.reason(); result == ERR_JLINK_CALL_FAILED && tells_of_holder(said)) {
        throw Failure{ExitCode::probe_in_use, fmt::format("cannot use probe {}: {}", serial, said),
                      "Close the other program, or wait for it with --wait SECONDS."};
    }
    check(result, fmt::format("use probe {}", serial));
    connected_ = true;
    if (!deferral_) {
        deferral_.emplace(platform::InterruptDeferral::Wait::goes_on);
    }
}

bool Session::is_chip_protected() const
{
    readback_protection_status_t status = NONE;
    check(TESSIT_readback_status(&status), "read the protection status");
    return status != NONE;
}

void Session::disconnect()
{
    connected_ = false;
    check(TESSIT_disconnect_from_emu(), fmt::format("release probe {}", serial_));
}

void Session::abandon()
{
    connected_ = false;
    TESSIT_disconnect_from_emu(); // what it answers adds nothing to the failure
}

ExitCode Session::close(ExitCode code, const Console& console)
{
    TESSIT_close_dll();
    const std::string problem = log_.finish();
    if (problem.empty()) {
        return code;
    }
    console.report_line({ExitCode::failure, problem, "The command did its work; give --log another file."});
    return code == ExitCode::done ? ExitCode::failure : code;
}

void Session::check(result_code_t result, std::string_view what, std::string_view jlink_hint) const
{
    if (result == RESULT_OK) {
        return;
    }
    const ResultText& text = result_text(result);
    const std::string said = log_.reason();
    if (has_lost_probe()) {
        throw Failure{ExitCode::no_probe,
                      fmt::format("cannot {}: the connection to probe {} was lost{}", what, serial_,
                                  said.empty() ? "" : ": " + said),
                      with_flags("Check the probe's USB cable; `tessit list` shows the attached probes.")};
    }
    const std::string why = said.empty() ? text.meaning : fmt::format("{}: {}", text.meaning, said);
    throw Failure{text.exit_code, fmt::format("cannot {}: {}", what, why), hint_for(result, jlink_hint, !said.empty())};
}

bool Session::has_lost_probe() const
{
    bool is_there = true;
    return connected_ && TESSIT_is_connected_to_emu(&is_there) == RESULT_OK && !is_there;
}

std::string Session::hint_for(result_code_t result, std::string_view jlink_hint, bool has_reason) const
{
    if (result == ERR_PROTECTED) {
        return fmt::format("`{}` unprotects it and erases everything in it: flash, UICR and RAM.",
                           command_line("recover --yes"));
    }
    if (result == ERR_JLINK_CALL_FAILED && !jlink_hint.empty()) {
        return std::string{jlink_hint};
    }
    if (result == ERR_BAD_ARGUMENT && has_reason) { // the narration would tell no more
        return "Correct the value; the command's --help tells what it may be.";
    }
    return with_flags(result_text(result).hint);
}

// A command that is named in a hint is to look at the same bench.
std::string Session::with_flags(std::string hint) const
{
    constexpr std::string_view command = "`tessit";
    if (const std::size_t at = hint.find(command); at != std::string::npos) {
        hint.insert(at + command.size(), settings_.library_flags);
    }
    return hint;
}

std::string Session::command_line(std::string_view words) const
{
    return fmt::format("tessit{} --probe {} {}", settings_.library_flags, serial_, words);
}

} // namespace tessit::cli
