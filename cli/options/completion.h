/// What a shell may complete a word to.
#pragma once

#include <span>
#include <string>
#include <vector>

namespace CLI {
class App;
} // namespace CLI

namespace tessit::cli {

/// Of a word that begins so and follows these, on the command line as a whole: verbs, the values of an option or
/// argument that has a choice of them, and options where the word begins with a dash. Nothing where a file or a value
/// of the user's own is due. Words are taken as bash takes them apart, which makes a word of "=".
std::vector<std::string> completion_candidates(const CLI::App& root, std::span<const std::string> words,
                                               const std::string& begun);

/// The option whose value follows these words; empty where none does.
std::string option_awaiting_value(const CLI::App& root, std::span<const std::string> words);

} // namespace tessit::cli
