/// Writes an image into the chip: what `program` and `run` have in common.
#pragma once

#include "cli/commands/on_probes.h"
#include "cli/firmware/image.h"
#include "cli/loader/choice.h"
#include "cli/memory/plan.h"

namespace tessit::cli {

struct ProgramOptions
{
    bool recovers = false;
    EraseMode erase = EraseMode::needed;
    LoaderOptions loader;
    bool allow_protect = false;
    bool verify = true;
    bool reset = false; ///< without it the CPU stays halted
};

/// All of them but the reset.
void add_program_options(const Verb& verb, ProgramOptions& options);

Report program_chip(Target& target, const Image& image, const ProgramOptions& options, const Console& console);

} // namespace tessit::cli
