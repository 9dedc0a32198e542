/// The command as a whole: command line in, exit code out.
#pragma once

namespace tessit::cli {

int run_application(int argc, const char* const* argv);

} // namespace tessit::cli
