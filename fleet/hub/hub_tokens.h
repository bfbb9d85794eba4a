// The secrets that open the hub, and where they are read from.
#pragma once

#include <string>
#include <vector>

namespace tidra {

/// Any of several tokens is as good as another, so that a new one can be handed out before the old one goes. None:
/// not configured.
struct HubTokens {
  /// Of one kind, in one file.
  static constexpr std::size_t mostInFile = 2;

  std::vector<std::string> agent;
  std::vector<std::string> admin;

  bool operator==(const HubTokens&) const = default;
};

/// The tokens of a file, a line each; lines without anything on them are passed over. Throws InputError, one sentence
/// that names the file and never a token, for a file that others could read or change and for one that does not hold
/// one or two tokens.
std::vector<std::string> readHubTokens(const std::string& path);

/// Throws InputError for a text that no header line could carry. `source` says for people where it comes from.
void requireHubToken(const std::string& token, const std::string& source);

}  // namespace tidra
