#include "fleet/hub/protocol/hub_client.h"

#include <fmt/format.h>

#include <chrono>
#include <utility>

#include "core/base/json_fields.h"
#include "core/base/text.h"
#include "core/platform/spare_threads.h"
#include "core/platform/stop_signal.h"
#include "fleet/http/http_client.h"
#include "fleet/http/url.h"
#include "fleet/hub/protocol/hub_json.h"

namespace tidra {
namespace {

constexpr std::size_t shownCharacters = 200;  // of a body, in an error
constexpr std::size_t mostCharacterBytes = 4;
constexpr std::size_t mostListingBytes = HTTPClient::mostResponseBytes;
constexpr std::chrono::milliseconds lookAround{100};  // polling interval for cancellation

}  // namespace

std::string shownStart(const std::string& text) {
  std::string start = replacingInvalidUtf8(std::string_view(text).substr(0, shownCharacters * mostCharacterBytes));
  std::size_t count = 0;
  for (std::size_t i = 0; i < start.size(); ++i) {
    if (!isUtf8Continuation(start[i]) && count++ == shownCharacters) return start.substr(0, i);
  }
  return start;
}

namespace {

std::string queryText(const std::map<std::string, std::string>& query) {
  std::vector<std::string> pairs;
  pairs.reserve(query.size());
  for (const auto& [key, value] : query) {
    pairs.push_back(percentEncodedComponent(key) + "=" + percentEncodedComponent(value));
  }
  return joined(pairs, "&");
}

std::vector<std::string> below(std::string_view collection, const std::string& name) {
  return {"api", "v1", std::string(collection), name};
}

/// Runs the exchange on another thread while this one polls for cancellation.
HTTPClientResponse sendCancellably(const HTTPClient::Request& request, const HubClient& client) {
  StopSignal stop;
  auto response = startTask([&] { return HTTPClient::send(request, client.timeout, client.environment, &stop); });
  while (response.wait_for(lookAround) != std::future_status::ready) {
    if (client.shouldCancel()) stop.raise();
  }
  return response.get();
}

}  // namespace

using HubClientError = HubClient::HubClientError;

HubClientError HubClientError::badURL(const std::string& url) {
  return {Kind::badURL, "not an http(s) URL: " + urlWithoutUser(url)};
}

HubClientError HubClientError::transport(const std::string& description) {
  return {Kind::transport, "hub unreachable: " + description};
}

HubClientError HubClientError::http(int status, const std::string& body) {
  HubClientError error{Kind::http, fmt::format("hub returned {}: {}", status, shownStart(body))};
  error.status_ = status;
  error.body_ = body;
  return error;
}

HubClientError HubClientError::rejected(const HubAck& ack) {
  return {Kind::rejected, "hub refused the report: " + ack.message};
}

HubClient::Prepared HubClient::prepare(std::string method, const std::vector<std::string>& components,
                                       const std::map<std::string, std::string>& query,
                                       std::optional<std::string> body) const {
  const auto base = HTTPURL::parse(baseURL);
  if (!base) throw HubClientError::badURL(baseURL);
  HTTPURL url = urlBelow(*base, components);
  if (!query.empty()) url.query = queryText(query);
  Prepared prepared{.method = std::move(method), .url = url.text(), .headers = {}, .body = std::move(body)};
  if (token && !token->empty()) prepared.headers["Authorization"] = "Bearer " + *token;
  if (prepared.body) prepared.headers["Content-Type"] = "application/json";
  return prepared;
}

/// Returns the body of a 2xx response.
std::string HubClient::send(const Prepared& prepared) const {
  const HTTPClient::Request request{prepared.method, prepared.url, prepared.headers, prepared.body.value_or("")};
  HTTPClientResponse response;
  try {
    response = shouldCancel ? sendCancellably(request, *this) : HTTPClient::send(request, timeout, environment);
  } catch (const HTTPClientError& error) {
    throw HubClientError::transport(error.what());
  }
  constexpr int firstFailure = 300;
  if (response.status < 200 || response.status >= firstFailure) {
    throw HubClientError::http(response.status, response.body);
  }
  return std::move(response.body);
}

template <class Answer>
Answer HubClient::ask(const Prepared& prepared, std::size_t mostBytes) const {
  const std::string body = send(prepared);
  try {
    return HubJSON::decode<Answer>(body, "the answer", mostBytes);
  } catch (const DecodingError&) {
    throw HubClientError::http(200, body);  // not a hub, for instance a proxy's page
  }
}

void HubClient::change(const Prepared& prepared) const {
  const std::string body = send(prepared);
  try {
    const auto answer = parseForeignJson(body, "the answer");
    if (JsonObjectReader(answer, "the answer").required<bool>("ok")) return;
  } catch (const DecodingError&) {
    // Falls through: the response came from something in between, not from the hub.
  }
  throw HubClientError::http(200, body);
}

HubAck HubClient::report(const HubHostReport& report) const {
  auto ack = ask<HubAck>(prepare("POST", {"api", "v1", "report"}, {}, HubJSON::compact(report)));
  if (!ack.accepted) throw HubClientError::rejected(ack);
  return ack;
}

std::map<std::string, std::string> HubClient::info() const {
  return ask<std::map<std::string, std::string>>(prepare("GET", {"api", "v1", "info"}));
}

HubSummary HubClient::summary() const { return ask<HubSummary>(prepare("GET", {"api", "v1", "summary"})); }

HubHostsEnvelope HubClient::hosts(const std::map<std::string, std::string>& query) const {
  return ask<HubHostsEnvelope>(prepare("GET", {"api", "v1", "hosts"}, query), mostListingBytes);
}

HubHostRecord HubClient::host(const std::string& name) const {
  return ask<HubHostRecord>(prepare("GET", below("hosts", name)));
}

void HubClient::removeHost(const std::string& name) const { change(prepare("DELETE", below("hosts", name))); }

void HubClient::setNote(const std::string& name, const std::string& text) const {
  change(prepare("PUT", {"api", "v1", "hosts", name, "note"}, {}, text));
}

HubPoliciesEnvelope HubClient::policies() const {
  return ask<HubPoliciesEnvelope>(prepare("GET", {"api", "v1", "policies"}));
}

std::string HubClient::policy(const std::string& name) const { return send(prepare("GET", below("policies", name))); }

void HubClient::putPolicy(const std::string& name, const std::string& document) const {
  change(prepare("PUT", below("policies", name), {}, document));
}

void HubClient::removePolicy(const std::string& name) const { change(prepare("DELETE", below("policies", name))); }

HubEventsEnvelope HubClient::events(std::size_t count) const {
  return ask<HubEventsEnvelope>(prepare("GET", {"api", "v1", "events"}, {{"n", std::to_string(count)}}));
}

bool HubClient::exposesToken() const {
  const auto url = HTTPURL::parse(baseURL);
  return token && !token->empty() && url && !url->isSecure && !isLoopback(url->host);
}

}  // namespace tidra
