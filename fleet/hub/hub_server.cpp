// Every request passes the same checks: fixed pages, route table, token, origin, content type; then its handler.
// Refusals are exceptions, turned into responses in one place.
#include "fleet/hub/hub_server.h"

#include <fmt/format.h>

#include <exception>
#include <system_error>

#include "core/base/core_info.h"
#include "core/base/text.h"
#include "fleet/http/gzip.h"
#include "fleet/http/url.h"
#include "fleet/hub/dashboard_page.h"
#include "fleet/hub/data_folder.h"
#include "fleet/hub/hub_query.h"
#include "fleet/hub/hub_router.h"

namespace tidra {
namespace {

HubTokens tokensOf(const HubConfig& config) {
  HubTokens tokens;
  if (config.agentToken) tokens.agent.push_back(*config.agentToken);
  if (config.adminToken) tokens.admin.push_back(*config.adminToken);
  return tokens;
}

void requireScope(HubScope scope, const HubCall& call) {
  if (scope == HubScope::agent && !call.authorisation.admitsAgent(call.request)) {
    throw HubRefusal(401, "agent token required");
  }
  if (scope == HubScope::admin && !call.authorisation.admitsAdministrator(call.request)) {
    throw HubRefusal(401, "admin token required");
  }
}

bool isJsonType(std::string_view contentType) {
  const std::string type = asciiLowered(trimmed(contentType.substr(0, contentType.find(';'))));
  return type == "application/json" || (type.starts_with("application/") && type.ends_with("+json"));
}

/// CSRF guard: cross-site forms cannot send `application/json` without a CORS preflight, which the hub refuses. DELETE
/// has no body; its method alone requires a preflight.
void requireJsonType(const HubRoute& route, const HTTPRequest& request) {
  if (route.method != "POST" && route.method != "PUT") return;
  const auto type = request.headers.find("content-type");
  if (type != request.headers.end() && isJsonType(type->second)) return;
  throw HubRefusal(415, "the request must say Content-Type: application/json");
}

/// Guards against DNS rebinding: a page on a name that resolves to this machine passes the browser's same-origin check.
/// Without a token, writes with a foreign `Origin`, a header that only browsers send, are refused. A hub that listens
/// to other machines without a token is open to everyone anyway.
void requireTrustedPage(const HubRoute& route, const HubCall& call) {
  const auto origin = call.request.headers.find("origin");
  if (route.method.empty() || route.method == "GET" || origin == call.request.headers.end()) return;
  if (!call.config.isForThisMachineAlone() || call.authorisation.knowsAdministrator(call.request)) return;
  const auto page = HTTPURL::parse(origin->second);
  if (page && (isLocalName(page->host) || isAddress(page->host))) return;
  throw HubRefusal(403,
                   "without an admin token the hub takes changes only from a page at localhost or at an address; give "
                   "it a token with --admin-token-file");
}

/// Maps the store's refusals to HTTP statuses.
int statusOf(const HubStoreError& error) { return error.kind() == HubStoreError::Kind::badName ? 400 : 409; }

void compress(const HTTPRequest& request, HTTPResponse& response) {
  if (response.status != 200 || response.body.size() < HubServer::leastCompressedBytes) return;
  response.headers["Vary"] = "Accept-Encoding";
  if (!acceptsGzip(request.headers)) return;
  response.body = gzipped(response.body);
  response.headers["Content-Encoding"] = "gzip";
}

}  // namespace

HubServer::HubServer(HubConfig config, std::function<TimePoint()> clock, HubLog log)
    : config_(std::move(config)),
      clock_(std::move(clock)),
      log_(std::move(log)),
      startedAt_(clock_()),
      page_(dashboardPage(config_.title)),
      authorisation_(tokensOf(config_)),
      store_(config_.dataDir, config_.staleAfter, config_.title, startedAt_, warningSink()) {}

std::function<void(std::string_view)> HubServer::warningSink() const {
  return [this](std::string_view what) { log_(fmt::format("warning: {}", escapedForTerminal(what))); };
}

HubServer::~HubServer() { stop(); }

void HubServer::start() {
  if (http_) return;
  auto http = std::make_unique<HTTPServer>(
      config_.host, config_.port, [this](const HTTPRequest& request) { return handle(request); },
      HTTPServer::usualMaxBodyBytes, HTTPServerLimits{}, warningSink());
  http->start();
  try {
    store_.append(
        {.time = clock_(),
         .kind = HubEvent::Kind::hubStarted,
         .host = {},
         .message = fmt::format("tidra-hub {} listens on {}:{}", TidraCoreInfo::version, config_.host, http->port()),
         .bytes = {}});
  } catch (const std::system_error& error) {
    throw HubDataFolder(config_.dataDir).unusable(error);
  }
  http_ = std::move(http);
}

void HubServer::stop() { http_.reset(); }

HTTPResponse HubServer::handle(const HTTPRequest& request) {
  HTTPResponse response = answer(request);
  compress(request, response);
  return guarded(std::move(response));
}

HTTPResponse HubServer::answer(const HTTPRequest& request) {
  const auto failed = [&](std::string_view message, std::string_view reason) {
    // Log the path only: the query may contain a token.
    log_(fmt::format("warning: {} {} failed: {}", escapedForTerminal(request.method), escapedForTerminal(request.path),
                     escapedForTerminal(reason)));
    return refusalResponse(500, message);
  };
  try {
    return answerRoute(request);
  } catch (const HubRefusal& refusal) {
    HTTPResponse response = refusalResponse(refusal.status(), refusal.what());
    if (refusal.status() == 401) response.headers["WWW-Authenticate"] = "Bearer realm=\"tidra-hub\"";
    return response;
  } catch (const HubStoreError& error) {
    return refusalResponse(statusOf(error), error.what());
  } catch (const std::system_error& error) {
    return failed(error.what(), error.what());
  } catch (const std::exception& error) {
    return failed("internal error", error.what());
  }
}

HTTPResponse HubServer::answerRoute(const HTTPRequest& request) {
  const auto parts = pathParts(request.path);
  if (parts.empty()) return dashboardResponse(request.method, page_);
  HubMatch match = matchRoute(request.method, parts);
  if (match.route == nullptr) {
    if (request.method == "OPTIONS") return {204, {{"Allow", "GET, POST, PUT, DELETE, OPTIONS"}}, {}};
    if (isApiPath(parts)) throw HubRefusal(404, "not found");
    return HTTPResponse::text(404, "not found\n");
  }
  const HubCall call{.config = config_,
                     .store = store_,
                     .authorisation = authorisation_,
                     .log = log_,
                     .request = request,
                     .names = std::move(match.names),
                     .now = clock_()};
  requireScope(match.route->scope, call);
  requireTrustedPage(*match.route, call);
  requireJsonType(*match.route, request);
  return match.route->answer(call);
}

}  // namespace tidra
