/// To whom a longer work tells of its progress, and the time that it goes by.
#pragma once

#include "cli/terminal/console.h"
#include "cli/time/clock.h"

namespace tessit::cli {

/// Refers to both.
struct Narration
{
    const Console& console;
    const Clock& clock;
};

} // namespace tessit::cli
