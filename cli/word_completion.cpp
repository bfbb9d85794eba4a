#include "cli/word_completion.h"

#include <CLI/CLI.hpp>
#include <algorithm>

namespace tidra {
namespace {

bool takesValue(const CLI::Option& option) { return option.get_items_expected_max() > 0; }

/// Reads the words before the last one.
class CompletionLine {
 public:
  CompletionLine(const CLI::App& app, const std::vector<std::string>& words) : command_(&app) {
    for (std::size_t i = 0; i + 1 < words.size(); ++i) read(words[i]);
  }

  const CLI::App& command() const { return *command_; }
  const CLI::Option* awaiting() const { return awaiting_; }

  ValuePlace placeOf(const CLI::Option& option) const {
    const bool isOperand = option.get_positional() && option.get_lnames().empty() && option.get_snames().empty();
    return {.command = path_,
            .name = isOperand ? option.get_name(true) : "--" + option.get_lnames().front(),
            .type = option.get_type_name(),
            .before = operands_};
  }

  /// The option of this name, of the command or of one above; null if there is none.
  const CLI::Option* option(const std::string& name) const {
    for (const CLI::App* app = command_; app != nullptr; app = app->get_parent()) {
      if (const auto* found = app->get_option_no_throw(name)) return found;
    }
    return nullptr;
  }

  /// The operand that the last word would be; null if there is none.
  const CLI::Option* operand() const {
    std::size_t before = operands_.size();
    for (const CLI::Option* each : command_->get_options()) {
      if (!each->get_positional()) continue;
      const bool isList = each->get_items_expected_max() > 1;
      if (isList || before == 0) return each;
      --before;
    }
    return nullptr;
  }

  bool mayBeCommand() const { return operands_.empty(); }

 private:
  void read(const std::string& word) {
    if (word == "=") return;  // bash passes "--name=value" as three words
    if (awaiting_ != nullptr) {
      awaiting_ = nullptr;
    } else if (word.size() > 1 && word.front() == '-') {
      const CLI::Option* found = option(word.substr(0, word.find('=')));
      if (found != nullptr && takesValue(*found) && word.find('=') == std::string::npos) awaiting_ = found;
    } else if (const auto* next = operands_.empty() ? subcommand(word) : nullptr) {
      command_ = next;
      path_ += (path_.empty() ? "" : " ") + next->get_name();
    } else {
      operands_.push_back(word);
    }
  }

  const CLI::App* subcommand(const std::string& name) const {
    for (const CLI::App* each : command_->get_subcommands([](const CLI::App*) { return true; })) {
      if (each->check_name(name)) return each;
    }
    return nullptr;
  }

  const CLI::App* command_;
  std::string path_;
  std::vector<std::string> operands_;
  const CLI::Option* awaiting_ = nullptr;
};

/// Keeps what begins with `typed`; every word gets `before` in front.
Completions matching(Completions known, const std::string& typed, const std::string& before) {
  std::erase_if(known.words, [&](const Completions::Word& word) { return !word.text.starts_with(typed); });
  for (auto& word : known.words) word.text = before + word.text;
  return known;
}

/// A value may be the last of several, which commas separate: only that one is completed, without those before.
Completions valuesFor(const CompletionLine& line, const CLI::Option& option, const std::string& typed,
                      const std::string& before, const KnownWords& valuesAt) {
  Completions known = valuesAt(line.placeOf(option));
  const auto comma = typed.rfind(',');
  if (known.kind != Completions::Kind::words || comma == std::string::npos) return matching(known, typed, before);
  const std::string listed = "," + typed.substr(0, comma + 1);
  std::erase_if(known.words, [&](const auto& word) { return listed.find("," + word.text + ",") != std::string::npos; });
  return matching(known, typed.substr(comma + 1), before + typed.substr(0, comma + 1));
}

Completions optionNames(const CompletionLine& line) {
  Completions names;
  for (const CLI::App* app = &line.command(); app != nullptr; app = app->get_parent()) {
    for (const CLI::Option* each : app->get_options()) {
      if (each->get_group().empty() || each->get_lnames().empty()) continue;
      const std::string name = "--" + each->get_lnames().front();
      const bool isKnown = std::any_of(names.words.begin(), names.words.end(),
                                       [&](const Completions::Word& word) { return word.text == name; });
      if (!isKnown) names.words.push_back({name, each->get_description()});
    }
  }
  return names;
}

Completions commandNames(const CLI::App& app) {
  Completions names;
  for (const CLI::App* each : app.get_subcommands([](const CLI::App*) { return true; })) {
    if (!each->get_group().empty()) names.words.push_back({each->get_name(), each->get_description()});
  }
  return names;
}

}  // namespace

Completions completed(const CLI::App& app, const std::vector<std::string>& words, const KnownWords& valuesAt) {
  const CompletionLine line(app, words);
  std::string typed = words.empty() ? "" : words.back();
  if (typed == "=") typed.clear();
  if (line.awaiting() != nullptr) return valuesFor(line, *line.awaiting(), typed, "", valuesAt);
  const auto equals = typed.find('=');
  if (typed.starts_with("--") && equals != std::string::npos) {
    const CLI::Option* option = line.option(typed.substr(0, equals));
    if (option == nullptr || !takesValue(*option)) return {};
    return valuesFor(line, *option, typed.substr(equals + 1), typed.substr(0, equals + 1), valuesAt);
  }
  if (typed.starts_with('-')) return matching(optionNames(line), typed, "");
  Completions commands = line.mayBeCommand() ? matching(commandNames(line.command()), typed, "") : Completions{};
  if (!commands.words.empty()) return commands;
  const CLI::Option* operand = line.operand();
  return operand == nullptr ? Completions{} : valuesFor(line, *operand, typed, "", valuesAt);
}

}  // namespace tidra
