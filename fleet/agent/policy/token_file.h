// Files with the tokens of agents, administrators and the hub.
#pragma once

#include <string>
#include <string_view>

namespace tidra {

/// The file's text, or why it is not used.
struct TokenFile {
  std::string text;       // trimmed, a token a line; empty when there is a fault
  std::string fault;      // names the file, never the token; empty without a fault
  bool isAbsent = false;  // the file is missing or empty

  /// The first line, trimmed: the token that clients send. A hub's file holds two during a rotation.
  [[nodiscard]] std::string firstToken() const;
};

/// The file must belong to root or the running user and be unreadable for others; the group may read one of root.
/// `reader` names the reading program in sentences: "agent", "hub".
TokenFile readTokenFile(const std::string& path, std::string_view reader);

}  // namespace tidra
