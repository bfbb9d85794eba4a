#include "cli/literal_arguments.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>

namespace tidra {

LiteralArguments::LiteralArguments(int argc, const char* const* argv) {
  bool isOperand = false;
  for (int i = 1; i < argc; ++i) {
    const std::string_view word = argv[i];
    if (isOperand || word.starts_with('[')) {
      add(word, isOperand);
    } else if (word == "--") {
      isOperand = true;
    } else {
      words_.emplace_back(word);
    }
  }
}

void LiteralArguments::add(std::string_view word, bool isOperand) {
  literals_.push_back({fmt::format("\x1f{}\x1f", literals_.size()), std::string(word), isOperand});
  words_.push_back(literals_.back().marker);
}

const LiteralArguments::Literal* LiteralArguments::literalIn(std::string_view text) const {
  const auto found = std::find_if(literals_.begin(), literals_.end(), [text](const Literal& literal) {
    return text.find(literal.marker) != std::string_view::npos;
  });
  return found == literals_.end() ? nullptr : &*found;
}

std::string LiteralArguments::putBack(std::string text) const {
  const Literal* literal = literalIn(text);
  if (literal != nullptr) text.replace(text.find(literal->marker), literal->marker.size(), literal->word);
  return text;
}

void LiteralArguments::putBackIn(CLI::App& app) const {
  if (literals_.empty()) return;
  for (CLI::Option* option : app.get_options()) {
    const auto check = [this, option](std::string& value) {
      const Literal* literal = literalIn(value);
      if (literal != nullptr && literal->isOperand && !option->get_positional()) {
        return std::string("a value must stand before --");
      }
      value = putBack(std::move(value));
      return std::string();
    };
    option->transform(CLI::Validator(check, ""));
  }
  for (CLI::App* command : app.get_subcommands([](CLI::App*) { return true; })) putBackIn(*command);
}

}  // namespace tidra
