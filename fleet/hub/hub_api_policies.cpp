#include <fmt/format.h>

#include "core/base/errors.h"
#include "core/base/text.h"
#include "fleet/agent/policy/fleet_policy.h"
#include "fleet/hub/hub_api.h"
#include "fleet/hub/hub_query.h"
#include "fleet/hub/protocol/hub_json.h"

namespace tidra {
namespace {

[[noreturn]] void refuseUnknown(const std::string& name) {
  throw HubRefusal(404, fmt::format("no policy '{}'", escapedForTerminal(name)));
}

/// Hosts execute what is stored, so reject documents that they cannot decode.
void requirePolicy(const std::string& document) {
  try {
    FleetPolicy::parse(document);
  } catch (const FleetPolicyError& error) {
    throw HubRefusal(400, fmt::format("invalid policy: {}", error.what()));
  } catch (const DecodingError& error) {
    throw HubRefusal(400, fmt::format("invalid policy: {}", error.what()));
  }
}

}  // namespace

HTTPResponse answerPolicyNames(const HubCall& call) {
  return HTTPResponse::json(200, HubJSON::compact(HubPoliciesEnvelope{.policies = call.store.policyNames()}));
}

HTTPResponse answerPolicy(const HubCall& call) {
  auto document = call.store.policy(call.names[0]);
  if (!document) refuseUnknown(call.names[0]);
  return HTTPResponse::json(200, std::move(*document));
}

HTTPResponse answerPolicyUpload(const HubCall& call) {
  const std::string& name = call.names[0];
  if (!HubPolicies::isName(name)) throw HubStoreError::badName(name);
  requirePolicy(call.request.body);
  call.store.putPolicy(name, call.request.body, call.now);
  call.log(fmt::format("policy '{}' updated", name));
  return doneResponse(name);
}

HTTPResponse answerPolicyRemoval(const HubCall& call) {
  const std::string& name = call.names[0];
  if (!call.store.removePolicy(name, call.now)) refuseUnknown(name);
  call.log(fmt::format("policy '{}' removed", name));
  return doneResponse(name);
}

}  // namespace tidra
