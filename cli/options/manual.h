/// The manual page, written from what the parser knows, as the help is.
#pragma once

#include <string>

namespace CLI {
class App;
} // namespace CLI

namespace tessit::cli {

/// Section 1, as `man` reads it, of the command line as a whole.
std::string manual_page(const CLI::App& root);

} // namespace tessit::cli
