// Files that hold a secret with which agents, administrators and the hub know each other.
#pragma once

#include <string>
#include <string_view>

namespace tidra {

/// What a file gives: its text, or why it is not used.
struct TokenFile {
  std::string text;       // trimmed; empty when there is a fault
  std::string fault;      // a sentence for people that names the file and never holds the token; empty without one
  bool isAbsent = false;  // the fault is that there is no file, or nothing in it
};

/// The file must belong to root or the running user and must not be readable for anybody else, but for the group of one
/// that belongs to root. `reader` is what the sentences call the program that reads it: "agent", "hub".
TokenFile readTokenFile(const std::string& path, std::string_view reader);

}  // namespace tidra
