/// The verbs of `qspi` that read, write, compare and erase what the external flash holds.
#pragma once

#include "cli/commands/on_probes.h"
#include "cli/memory/plan.h"
#include "cli/qspi/connection.h"
#include "cli/qspi/external_flash.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace tessit::cli {

struct QspiOptions
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
    EraseMode erase = EraseMode::needed;
    // of custom
    std::string opcode;
    std::vector<std::string> bytes;
    std::uint32_t received = 0;
    // of example
    std::string file;
};

/// What a verb does with the flash. What it returns is shown.
using QspiWork = std::function<Report(const ExternalFlash& flash)>;

/// On one probe, with the peripheral initialized and released around the work. `needs_flash`: a flash must answer.
ExitCode run_on_external_flash(const Invocation& invocation, const QspiOptions& options, bool needs_flash,
                               const QspiWork& work);

ExitCode read_external_flash(const Invocation& invocation, const QspiOptions& options);
ExitCode write_external_flash(const Invocation& invocation, const QspiOptions& options);
ExitCode verify_external_flash(const Invocation& invocation, const QspiOptions& options);
ExitCode erase_external_flash(const Invocation& invocation, const QspiOptions& options);

} // namespace tessit::cli
