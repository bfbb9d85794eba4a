// The hub's tokens, and reading them from files.
#pragma once

#include <string>
#include <vector>

namespace tidra {

/// Several tokens of a kind are equally valid, which allows rotation without downtime. Empty: not configured.
struct HubTokens {
  /// Maximum per kind in a file.
  static constexpr std::size_t mostInFile = 2;

  std::vector<std::string> agent;
  std::vector<std::string> admin;

  bool operator==(const HubTokens&) const = default;
};

/// The tokens of a file, one a line; blank lines are skipped. Throws InputError, a sentence that names the file and
/// never a token, when others can read or change the file or it does not have one or two tokens.
std::vector<std::string> readHubTokens(const std::string& path);

/// Throws InputError for a text that is invalid in an HTTP header. `source` names its origin in the sentence.
void requireHubToken(const std::string& token, const std::string& source);

}  // namespace tidra
