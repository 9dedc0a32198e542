#include "cli/session/probe_choice.h"

#include "cli/text/lists.h"

#include <algorithm>
#include <fmt/format.h>
#include <string>

namespace tessit::cli {
namespace {

std::vector<std::uint32_t> matching(const std::string& ending, const std::vector<std::uint32_t>& attached)
{
    std::vector<std::uint32_t> matches;
    for (const std::uint32_t serial : attached) {
        const std::string text = std::to_string(serial);
        if (text == ending) {
            return {serial};
        }
        if (text.ends_with(ending)) {
            matches.push_back(serial);
        }
    }
    return matches;
}

std::uint32_t choose_one(const std::string& ending, const std::vector<std::uint32_t>& attached)
{
    const std::vector<std::uint32_t> matches = matching(ending, attached);
    if (matches.empty()) {
        throw Failure{ExitCode::no_probe,
                      fmt::format("no attached probe has the serial number {}, or one that ends so", ending),
                      fmt::format("Attached: {}.", joined(attached))};
    }
    if (matches.size() > 1) {
        throw Failure{ExitCode::no_probe, fmt::format("several attached probes end in {}: {}", ending, joined(matches)),
                      "Give more digits of the serial number."};
    }
    return matches.front();
}

} // namespace

Failure no_probe_attached(const Settings& settings)
{
    return {ExitCode::no_probe, "no probe is attached",
            settings.simulated
                ? "`tessit sim show` shows the bench: a probe of its file is attached unless plugged = false."
                : "Plug a J-Link probe in; on Linux check the udev rules of the J-Link software."};
}

std::vector<std::uint32_t> choose_probes(const Settings& settings, const std::vector<std::uint32_t>& attached)
{
    if (attached.empty()) {
        throw no_probe_attached(settings);
    }
    if (settings.all_probes) {
        return attached;
    }
    if (settings.probes.empty() && attached.size() > 1) {
        throw Failure{ExitCode::no_probe,
                      fmt::format("{} probes are attached and none is named: {}", attached.size(), joined(attached)),
                      fmt::format("Choose one with --probe {}.", attached.front())};
    }
    if (settings.probes.empty()) {
        return attached;
    }
    std::vector<std::uint32_t> chosen;
    for (const std::string& ending : settings.probes) {
        const std::uint32_t serial = choose_one(ending, attached);
        if (std::ranges::find(chosen, serial) == chosen.end()) {
            chosen.push_back(serial);
        }
    }
    return chosen;
}

bool are_attached(const Settings& settings, const std::vector<std::uint32_t>& attached)
{
    return !attached.empty() && std::ranges::none_of(settings.probes, [&attached](const std::string& ending) {
        return matching(ending, attached).empty();
    });
}

} // namespace tessit::cli
