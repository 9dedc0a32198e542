#pragma once

#include "tests/support/temp_folder.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tessit_test {

/// A bench of simulated probes in a temporary folder, open in this process from construction to destruction.
///
/// A test program that links `tessit_test_support` shares it with whatever else it loads libjlinkarm_sim for: both use
/// the one copy of the library in the process. For other processes there is path().
///
/// At the end the bench is closed, and a test that left records which it did not take fails.
class TempBench
{
public:
    static constexpr std::uint32_t serial_number = 600000011;

    /// One probe, 600000011, with a chip of this version; `chip_lines` are further lines of its table, for example
    /// "protected = true\n".
    static TempBench with_chip(std::string_view version, std::string_view chip_lines = "");
    /// The bench file of that bench.
    static std::string chip_toml(std::string_view version, std::string_view chip_lines);
    /// A bench file with this content.
    explicit TempBench(std::string_view toml);
    ~TempBench();

    std::string path() const;
    const TempFolder& folder() const { return folder_; }
    /// Close and open again, as a new process finds it.
    void reopen();

    /// The records since the last call; afterwards there are none.
    std::vector<std::string> take_records();
    /// The traced calls since JLINKSIM_start_trace.
    std::vector<std::string> trace() const;

    /// Target memory as the chip's bus shows it, past probe and protection.
    std::vector<std::uint8_t> peek(std::uint32_t address, std::uint32_t length) const;
    std::uint32_t peek_word(std::uint32_t address) const;
    void poke_word(std::uint32_t address, std::uint32_t value) const;

private:
    TempFolder folder_;
};

} // namespace tessit_test
