// Sentences about command lines that cannot be parsed: each names the word, and the one that was probably meant.
#pragma once

#include <string>
#include <string_view>

#include "cli/literal_arguments.h"

namespace CLI {
class App;
class ParseError;
}  // namespace CLI

namespace tidra {

/// Replaces the parser's hard to understand messages.
std::string usageErrorText(const CLI::ParseError& error, const CLI::App& app, const LiteralArguments& arguments);

/// The sentence about a word that stands where a command was expected; empty if there is none.
std::string unknownCommandText(const CLI::App& app, const LiteralArguments& arguments);

/// "tidra has no command 'scn'; did you mean scan? …". `name` is how the command is called.
std::string noCommandText(std::string_view name, std::string_view word, const CLI::App& command);

}  // namespace tidra
