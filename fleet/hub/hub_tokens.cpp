#include "fleet/hub/hub_tokens.h"

#include <fmt/format.h>

#include "core/base/errors.h"
#include "core/base/text.h"
#include "fleet/agent/policy/token_file.h"
#include "fleet/http/http_message.h"

namespace tidra {

void requireHubToken(const std::string& token, const std::string& source) {
  if (isHeaderValue(token) && isValidUtf8(token)) return;
  throw InputError(fmt::format("{} holds a control character; use letters and digits.", source));
}

std::vector<std::string> readHubTokens(const std::string& path) {
  const TokenFile file = readTokenFile(path, "hub");
  if (!file.fault.empty()) throw InputError(file.fault);
  const std::string named = fmt::format("Token file '{}'", escapedForTerminal(path));
  std::vector<std::string> tokens;
  for (const std::string_view line : split(file.text, '\n')) {
    if (trimmed(line).empty()) continue;
    tokens.emplace_back(trimmed(line));
    requireHubToken(tokens.back(), named);
  }
  if (tokens.size() <= HubTokens::mostInFile) return tokens;
  throw InputError(fmt::format("{} holds {} tokens; write one, or two during a rotation.", named, tokens.size()));
}

}  // namespace tidra
