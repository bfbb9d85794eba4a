// Which options of a command mean nothing without another one, or beside it: a table, checked once after parsing.
#pragma once

#include <string>
#include <string_view>

namespace CLI {
class App;
}

namespace tidra {

/// Throws InputError, one sentence that names both options, for the first pair given on the command line that the table
/// refuses.
void checkOptionPairs(const CLI::App& app);

/// The sentence for an option whose need only the command can check; `needed` is the rest of "means nothing without".
std::string missingNeed(std::string_view option, std::string_view needed);

}  // namespace tidra
