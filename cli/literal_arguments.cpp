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
  const auto first = std::min_element(literals_.begin(), literals_.end(), [text](const auto& one, const auto& other) {
    return text.find(one.marker) < text.find(other.marker);
  });
  const bool isFound = first != literals_.end() && text.find(first->marker) != std::string_view::npos;
  return isFound ? &*first : nullptr;
}

std::string LiteralArguments::putBack(std::string_view text) const {
  std::string words;
  std::string_view rest = text;
  // Words are not searched for markers: they may hold any bytes.
  for (const Literal* literal = literalIn(rest); literal != nullptr; literal = literalIn(rest)) {
    const std::size_t at = rest.find(literal->marker);
    words.append(rest.substr(0, at)).append(literal->word);
    rest.remove_prefix(at + literal->marker.size());
  }
  return words.append(rest);
}

void LiteralArguments::putBackIn(CLI::App& app) const {
  if (literals_.empty()) return;
  for (CLI::Option* option : app.get_options()) {
    const auto check = [this, option](std::string& value) {
      const Literal* literal = literalIn(value);
      if (literal != nullptr && literal->isOperand && !option->get_positional()) {
        return std::string("a value must stand before --");
      }
      value = putBack(value);
      return std::string();
    };
    option->transform(CLI::Validator(check, ""));
  }
  for (CLI::App* command : app.get_subcommands([](CLI::App*) { return true; })) putBackIn(*command);
}

}  // namespace tidra
