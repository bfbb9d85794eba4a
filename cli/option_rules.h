// Dependencies and conflicts between options: a table, checked once after parsing.
#pragma once

#include <string>
#include <string_view>

namespace CLI {
class App;
}

namespace tidra {

/// Throws InputError for the first pair on the command line that the table refuses; the sentence names both options.
void checkOptionPairs(const CLI::App& app);

/// The sentence for a need that only the command can check; `needed` completes "needs".
std::string missingNeed(std::string_view option, std::string_view needed);

}  // namespace tidra
