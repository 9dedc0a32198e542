/// The simulated bench, through the control interface of the simulated J-Link library. This and the `sim` command are
/// the only parts of the command line that know of it.
#pragma once

#include "cli/platform/platform.h"

#include <cstdint>
#include <jlinkarm_sim.h>
#include <string>
#include <vector>

namespace tessit::cli {

struct BenchProbe
{
    jlinksim_probe_t description;
    std::string problem; ///< why nothing is known of what the chip holds; empty when it is known
};

inline constexpr const char* show_hint = "`tessit sim show` shows the bench, its probes and their chips.";

/// What to do about a chip's state that cannot be used.
std::string state_hint(std::uint32_t serial);

class Bench
{
public:
    /// Loads the simulated library; the bench itself is opened on first use. Throws a Failure as everything here does.
    Bench();

    /// Opens the bench that the environment names. The J-Link functions would do so by themselves, but could not say
    /// what is wrong with its file.
    void open() const;

    std::string path() const;               ///< of the bench file; empty for the built-in bench
    std::vector<BenchProbe> probes() const; ///< of the open bench, which stays as it is

    /// Throws when the chip on this probe cannot be used for a reason that lies in its state.
    void require_usable(std::uint32_t serial) const;

    /// What a real chip would have ignored or punished without telling, since the bench was opened.
    std::vector<std::string> records() const;
    /// The file that keeps the records of all commands.
    std::string records_path() const;

    void write_example(const std::string& path) const;
    void factory_reset(std::uint32_t serial) const;
    void power_cycle(std::uint32_t serial) const;

private:
    template <typename Function>
    Function find(const char* name) const;
    std::string error_text() const;
    void require(int result, const std::string& what, const char* hint) const;

    platform::Module module_;
};

} // namespace tessit::cli
