#include "cli/policy_file.h"

#include <fmt/format.h>

#include "cli/terminal.h"
#include "core/base/errors.h"
#include "core/base/text.h"

namespace tidra {

FleetPolicy loadPolicyFile(const std::string& path) { return parsePolicyFile(path, readTrustedPolicyFile(path)); }

FleetPolicy parsePolicyFile(const std::string& path, const std::string& text) {
  const std::string shown = escapedForTerminal(path);
  try {
    FleetPolicy policy = FleetPolicy::parse(text);
    for (const std::string& key : unknownPolicyKeys(text)) {
      writeNote(fmt::format("Policy '{}': the key '{}' is not known and is ignored.", shown, escapedForTerminal(key)));
    }
    return policy;
  } catch (const FleetPolicyError& error) {
    throw InputError(fmt::format("Policy '{}': {}", shown, escapedForTerminal(error.what())));
  } catch (const DecodingError& error) {
    throw InputError(fmt::format("Policy '{}': {}.", shown, escapedForTerminal(error.what())));
  }
}

ResolvedPolicy resolvePolicy(const FleetPolicy& policy, const std::string& path, const TidraPathResolver& host) {
  try {
    ResolvedPolicy resolved = ResolvedPolicy::make(policy, host);
    resolved.requireApartFrom(path);
    return resolved;
  } catch (const InputError& error) {
    throw InputError(fmt::format("Policy '{}': {}", escapedForTerminal(path), error.what()));
  }
}

}  // namespace tidra
