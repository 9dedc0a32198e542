/// The library's results in the words of the command line.
#pragma once

#include "cli/failure.h"

#include <jlinkarm_birch_tessit.h>

namespace tessit::cli {

struct ResultText
{
    result_code_t code;
    const char* name;
    ExitCode exit_code;
    const char* meaning;
    const char* hint;
};

/// The row of a result that is not RESULT_OK; a code that is not known gets a row that says so.
const ResultText& result_text(result_code_t code);

} // namespace tessit::cli
