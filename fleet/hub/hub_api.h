// The handlers of the hub's API, one function a route. docs/openapi.json documents them.
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

/// Called with one line of text, from any thread.
using HubLog = std::function<void(const std::string& line)>;

/// The context of a request. Holds references to objects that outlive it.
struct HubCall {
  const HubConfig& config;
  HubStore& store;
  const HubAuthorisation& authorisation;
  const HubLog& log;
  const HTTPRequest& request;
  std::vector<std::string> names;  // the path components matched by "*", decoded; any bytes
  TimePoint now;
};

// Handlers throw HubRefusal, and what the store throws.

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

/// The body of a successful write: {"ok": true} and more texts.
HTTPResponse doneResponse(const std::string& name = {});

}  // namespace tidra
