#include "cli/usage_errors.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <utility>
#include <vector>

#include "core/base/nearest_word.h"
#include "core/base/text.h"

namespace tidra {
namespace {

std::vector<std::string> commandsOf(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
    if (!command->get_group().empty()) names.push_back(command->get_name());  // not a hidden one
  }
  return names;
}

/// The innermost command that was named, and how its help is called: "tidra trash purge --help".
struct NamedCommand {
  const CLI::App* command;
  std::string words;
  std::vector<std::string> options;  // that are accepted after it

  explicit NamedCommand(const CLI::App& app) : command(&app), words(app.get_name()) {
    addOptions();
    while (!command->get_subcommands().empty()) {
      command = command->get_subcommands().front();
      words += " " + command->get_name();
      addOptions();
    }
  }

 private:
  void addOptions() {
    for (const CLI::Option* option : command->get_options()) {
      for (const std::string& name : option->get_lnames()) options.push_back("--" + name);
    }
  }
};

/// The words that neither the program nor the command takes, as typed.
struct UnknownWords {
  std::string operand;  // the first that is no option; empty if there is none
  std::string option;   // likewise
  std::vector<std::string> all;

  UnknownWords(const CLI::App& app, const LiteralArguments& arguments) {
    for (const std::string& word : app.remaining(true)) {
      all.push_back(escapedForTerminal(arguments.putBack(word)));
      std::string& first = word.starts_with('-') ? option : operand;
      if (first.empty()) first = all.back();
    }
  }
};

std::string unknownOptionText(const std::string& option, const NamedCommand& named) {
  const std::string name = option.substr(0, option.find('='));
  std::string meant = ".";
  if (name.starts_with("--")) {
    const auto nearest = nearestWord(name, named.options);
    if (nearest) meant = fmt::format("; did you mean {}?", named.options[*nearest]);
  }
  return fmt::format("{} has no option {}{} (see {} --help)", named.words, name, meant, named.words);
}

std::string unknownOperandText(const std::string& word, const NamedCommand& named, bool isProgram) {
  const std::string at = isProgram ? "" : fmt::format(" of {}", named.words);
  const std::string known = knownWordsText(word, commandsOf(*named.command));
  const char* hint = word == "restore" ? " tidra undo brings back what the last removal moved away." : "";
  return fmt::format("Unknown command '{}'{}; {}{}", word, at, known, hint);
}

/// Of words that are too many.
std::string extrasText(const UnknownWords& unknown, const NamedCommand& named, bool isProgram) {
  if (!unknown.operand.empty() && !commandsOf(*named.command).empty()) {
    return unknownOperandText(unknown.operand, named, isProgram);
  }
  if (!unknown.option.empty()) return unknownOptionText(unknown.option, named);
  return fmt::format("{} does not take '{}' (see {} --help)", named.words, joined(unknown.all, "' '"), named.words);
}

/// Names the commands that exist where one is missing or unknown.
std::string missingCommandText(const CLI::App& app, const LiteralArguments& arguments) {
  const NamedCommand named(app);
  const UnknownWords unknown(app, arguments);
  if (!unknown.all.empty()) return extrasText(unknown, named, named.command == &app);
  return fmt::format("{} needs a command: {}.", named.words, joined(commandsOf(*named.command), ", "));
}

}  // namespace

std::string usageErrorText(const CLI::ParseError& error, const CLI::App& app, const LiteralArguments& arguments) {
  const NamedCommand named(app);
  const std::string help = fmt::format("(see {} --help)", named.words);
  const std::string message = error.what();
  const std::string option = escapedForTerminal(message.substr(0, message.find(':')));
  const bool isMismatch = dynamic_cast<const CLI::ArgumentMismatch*>(&error) != nullptr;
  if (isMismatch && message.find("At Most 1") != std::string::npos) {
    return fmt::format("{} is repeated; it takes one value. {}", option, help);
  }
  if (isMismatch && message.ends_with("missing")) return fmt::format("{} needs a value. {}", option, help);
  if (message.starts_with("A subcommand is")) return missingCommandText(app, arguments);
  const UnknownWords unknown(app, arguments);
  const bool isExtra = dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr;
  if (isExtra && !unknown.all.empty()) return extrasText(unknown, named, named.command == &app);
  return fmt::format("{} {}", escapedForTerminal(arguments.putBack(message)), help);
}

std::string unknownCommandText(const CLI::App& app, const LiteralArguments& arguments) {
  const NamedCommand named(app);
  const UnknownWords unknown(app, arguments);
  if (unknown.operand.empty() || commandsOf(*named.command).empty()) return "";
  return unknownOperandText(unknown.operand, named, named.command == &app);
}

std::string noCommandText(std::string_view name, std::string_view word, const CLI::App& command) {
  const auto known = commandsOf(command);
  return fmt::format("{} has no command '{}'{}", name, escapedForTerminal(word),
                     known.empty() ? "." : "; " + knownWordsText(word, known));
}

}  // namespace tidra
