/// How the help looks.
#pragma once

#include <memory>

namespace CLI {
class FormatterBase;
} // namespace CLI

namespace tessit::cli {

std::shared_ptr<CLI::FormatterBase> make_help_formatter();

} // namespace tessit::cli
