/// What the user set for every command: by flag, environment, config file or default, in this order of precedence.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tessit::cli {

class Verb;

struct Settings
{
    std::vector<std::string> probes; ///< serial numbers or their endings
    bool all_probes = false;
    std::uint32_t jobs = 0;                            ///< several probes: so many at the same time; 0: all
    std::optional<std::chrono::duration<double>> wait; ///< for probes that are not there, not free or without power
    std::uint32_t speed_khz = 4000;
    std::string jlink; ///< path of the J-Link library; empty: the usual install places
    bool simulated = false;
    std::string bench;                       ///< bench file of the simulation; empty: what the environment says
    bool fresh = false;                      ///< simulated chips in their factory state, of which nothing is left
    bool strict = false;                     ///< a record of the simulation is a failure
    std::optional<std::uint32_t> flash_size; ///< bytes, instead of what the chip says
    std::optional<std::uint32_t> page_size;
    bool json = false;
    bool verbose = false;
    bool quiet = false;   ///< only results and errors
    std::string log_file; ///< empty: none
    bool yes = false;
    bool events = false; ///< progress and everything else on standard error as lines of JSON

    /// The flags of the command line that select the J-Link library, as they are to be typed again.
    std::string library_flags;
};

/// Adds the global options to the command; they are accepted before and after the verb.
void add_global_options(const Verb& root, Settings& settings);

/// After parsing: fills what the command line left open from the environment and the config file.
void complete_settings(const Verb& root, Settings& settings);

} // namespace tessit::cli
