// Words of the command line that the parser must not interpret.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace CLI {
class App;
}

namespace tidra {

/// Protects words from CLI11, which treats words after "--" as options of the program and reads "[a,b]" as a list.
/// Each such word is replaced by a marker before parsing and put back in the parsed values.
class LiteralArguments {
 public:
  LiteralArguments(int argc, const char* const* argv);

  /// The words to parse, without the program's name, in the order of the command line.
  const std::vector<std::string>& words() const { return words_; }

  /// Puts the words back in the values of every command. No option takes its value from behind "--". Must outlive the
  /// parsing.
  void putBackIn(CLI::App& app) const;

  /// Puts the words back in a message.
  std::string putBack(std::string_view text) const;

 private:
  struct Literal {
    std::string marker;
    std::string word;
    bool isOperand;  // behind "--"
  };

  void add(std::string_view word, bool isOperand);
  /// Returns the literal whose marker comes first; null if there is none.
  const Literal* literalIn(std::string_view text) const;

  std::vector<std::string> words_;
  std::vector<Literal> literals_;
};

}  // namespace tidra
