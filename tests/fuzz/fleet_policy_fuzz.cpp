// A document is a policy or is refused with a sentence; an accepted one survives a round trip.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string_view>

#include "core/base/errors.h"
#include "fleet/agent/policy/fleet_policy.h"

namespace {

std::optional<tidra::FleetPolicy> policyIn(std::string_view text) {
  try {
    return tidra::FleetPolicy::parse(text);
  } catch (const tidra::DecodingError&) {
  } catch (const tidra::FleetPolicyError&) {
  }
  return std::nullopt;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const auto policy = policyIn(text);
  if (!policy) return 0;
  tidra::unknownPolicyKeys(text);
  const auto again = policyIn(policy->text());
  if (!again || *again != *policy) std::abort();
  return 0;
}
