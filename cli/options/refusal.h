/// A command line that cannot be understood, in the words of this command.
#pragma once

#include "cli/failure.h"
#include "cli/options/verb_tree.h"

#include <string>

namespace CLI {
class ParseError;
} // namespace CLI

namespace tessit::cli {

/// There is no such verb below these, or no such option of theirs.
Failure unknown_word(const Verbs& chosen, const std::string& word);
/// Why the parser refused. What it throws tells the kind of the mistake; its text is not meant for a user.
Failure refusal(const CLI::App& app, const CLI::ParseError& error);

} // namespace tessit::cli
