/// The verbs as the parser knows them, from the whole command line down to the verb that is meant.
#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
} // namespace CLI

namespace tessit::cli {

/// Each is a verb of the one before; the first is the command line as a whole.
using Verbs = std::vector<const CLI::App*>;

/// After parsing: the whole command line, the verb that was recognised, and the verb below it.
Verbs chosen_verbs(const CLI::App& app);
/// "tessit sim show"
std::string typed(const Verbs& verbs);
std::vector<std::string> verb_names(const CLI::App& verb);
/// Null where there is none.
const CLI::App* find_verb(const CLI::App& verb, const std::string& name);
/// "--output", of options of all of them; not of arguments.
std::vector<std::string> option_names(const Verbs& verbs);

} // namespace tessit::cli
