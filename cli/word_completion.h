// What can stand in the place of the last word of a command line.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace tidra {

struct Completions {
  enum class Kind { words, files, folders };

  struct Word {
    std::string text;  // the whole word, with what of a list stands before
    std::string what;  // may be empty
  };

  Kind kind = Kind::words;
  std::vector<Word> words;  // only those that begin with the last word; none of the kinds files and folders
};

/// The place of a value: "trash purge" and "--older-than", or the name of an operand, such as "ENTRY".
struct ValuePlace {
  std::string command;  // without the program's name
  std::string name;
  std::string type;                 // of an option in the help, such as "FILE"
  std::vector<std::string> before;  // the command's operands that stand before
};

/// The values that are known for a place; their kind is `words` unless files or folders are meant.
using KnownWords = std::function<Completions(const ValuePlace&)>;

/// Completes the last of the words after the program's name; it is empty where a new word begins.
Completions completed(const CLI::App& app, const std::vector<std::string>& words, const KnownWords& valuesAt);

}  // namespace tidra
