// The answers of the hub's API, a function a route. docs/openapi.json describes them all.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "core/base/time_point.h"
#include "fleet/http/http_message.h"
#include "fleet/hub/hub_authorisation.h"
#include "fleet/hub/hub_config.h"
#include "fleet/hub/hub_store.h"

namespace tidra {

/// Takes one line of text at a time, from any thread.
using HubLog = std::function<void(const std::string& line)>;

/// What an answer is made of: the hub, the request and the moment. Refers to what outlives the request.
struct HubCall {
  const HubConfig& config;
  HubStore& store;
  const HubAuthorisation& authorisation;
  const HubLog& log;
  const HTTPRequest& request;
  std::vector<std::string> names;  // what stands in the path for the route's "*", decoded; any bytes
  TimePoint now;
};

// Each throws HubRefusal for what cannot be had, and what the store throws.

HTTPResponse answerHealth(const HubCall& call);
HTTPResponse answerMetrics(const HubCall& call);
HTTPResponse answerReport(const HubCall& call);
HTTPResponse answerInfo(const HubCall& call);
HTTPResponse answerSummary(const HubCall& call);
HTTPResponse answerEvents(const HubCall& call);

HTTPResponse answerHosts(const HubCall& call);
HTTPResponse answerHostTable(const HubCall& call);
HTTPResponse answerHost(const HubCall& call);
HTTPResponse answerHostRemoval(const HubCall& call);
HTTPResponse answerNote(const HubCall& call);

HTTPResponse answerPolicyNames(const HubCall& call);
HTTPResponse answerPolicy(const HubCall& call);
HTTPResponse answerPolicyUpload(const HubCall& call);
HTTPResponse answerPolicyRemoval(const HubCall& call);

/// The body of every refusal: {"error": message, "status": "404"}.
HTTPResponse refusalResponse(int status, std::string_view message);

/// The object of texts {"ok": true} and more: what a write that was done answers.
HTTPResponse doneResponse(const std::string& name = {});

}  // namespace tidra
