#include "fleet/agent/policy/example_policies.h"

namespace tidra {

/// The files of examples/, compiled in.
extern const std::string_view agentHostPolicyText;
extern const std::string_view developerPolicyText;

std::optional<std::string_view> ExamplePolicies::text(std::string_view name) {
  if (name == names[0]) return agentHostPolicyText;
  if (name == names[1]) return developerPolicyText;
  return std::nullopt;
}

}  // namespace tidra
