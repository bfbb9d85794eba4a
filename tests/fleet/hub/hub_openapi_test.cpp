// docs/openapi.json matches the hub.
#include <set>

#include "core/platform/files.h"
#include "fleet/agent/policy/example_policies.h"
#include "fleet/hub/hub_router.h"
#include "tests/fleet/hub/server_fixture.h"
#include "tests/support/loopback_client.h"
#include "tests/support/matchers.h"
#include "tests/support/schema_checker.h"

namespace tidra {
namespace {

using nlohmann::json;

std::string upper(std::string text) {
  for (char& c : text) c = static_cast<char>(c - 'a' + 'A');
  return text;
}

class HubDocument : public HubServerTest {
 protected:
  HubDocument() : document_(parseJson(*readFile(TIDRA_SOURCE_DIR "/docs/openapi.json"), "The document")) {}

  /// A hub with the host and the policy that the requests below expect.
  void openFilled() {
    open({});
    report(busyReport("web/01"));
    put("/api/v1/hosts/web%2F01/note", "a note");
    put("/api/v1/policies/night", policy_);
    hub_->replaceTokens({.agent = {"agent"}, .admin = {"admin"}});
  }

  /// Sends the request that provokes this documented status.
  HTTPResponse provoke(const std::string& method, const std::string& path, const std::string& status) const {
    std::string target = path;
    const auto fill = [&](const std::string& wildcard, const std::string& known) {
      const auto place = target.find(wildcard);
      if (place != std::string::npos) target.replace(place, wildcard.size(), known);
    };
    fill("{host}", status == "404" ? "nobody" : "web%2F01");
    fill("{name}", status == "404" ? "none" : status == "400" && method == "DELETE" ? "a%20b" : "night");
    Asked asked{.token = status == "401" ? "" : "admin", .body = {}, .headers = {}, .query = {}};
    if (status == "413") return sendTooMuch(method, target);
    if (status == "403") {
      hub_->replaceTokens({});
      asked.headers["origin"] = "http://rebound.example";
    }
    if (status != "415") asked.headers["content-type"] = "application/json";
    if (status == "400") asked.query = {{"limit", "x"}, {"n", "x"}};
    if (status == "400" && method != "GET") asked.body = "{";
    if (status == "200") asked.body = path == "/api/v1/report" ? HubJSON::compact(busyReport("web/01")) : policy_;
    return ask(method, target, asked);
  }

  /// Sends a request that is refused before routing.
  HTTPResponse sendTooMuch(const std::string& method, const std::string& target) const {
    hub_->start();
    LoopbackClient client(hub_->port());
    client.send(method + " " + target + " HTTP/1.1\r\nHost: h\r\nContent-Length: 8388609\r\n\r\n");
    client.finish();
    const std::string text = client.receive();
    EXPECT_THAT(text, StartsWith("HTTP/1.1 413 "));
    HTTPResponse response = HTTPResponse::text(413, text.substr(text.find("\r\n\r\n") + 4));
    EXPECT_THAT(text, HasSubstr("Content-Type: " + response.headers.at("Content-Type")));
    return response;
  }

  void expectAsDescribed(const HTTPResponse& response, const std::string& status, json described) const {
    if (described.contains("$ref"))
      described = document_.at(json::json_pointer(described["$ref"].get<std::string>().substr(1)));
    ASSERT_EQ(std::to_string(response.status), status) << response.body;
    const json headers = described.value("headers", json::object());
    for (const auto& header : headers.items()) EXPECT_TRUE(response.headers.contains(header.key())) << header.key();
    const json content = described["content"];
    ASSERT_EQ(content.size(), 1U);
    const std::string type = content.begin().key();
    EXPECT_EQ(response.headers.at("Content-Type"), type);
    const bool isJson = type.starts_with("application/json");
    const json value = isJson ? parseJson(response.body, "The body") : json(response.body);
    EXPECT_TRUE(SchemaChecker(document_).accepts(content.begin().value()["schema"], value)) << response.body;
  }

  const json document_;
  const std::string policy_{*ExamplePolicies::text("agent-host")};
};

TEST_F(HubDocument, EveryAnswerIsAsItSays) {
  for (const auto& [path, methods] : document_["paths"].items()) {
    for (const auto& [method, operation] : methods.items()) {
      for (const auto& [status, described] : operation["responses"].items()) {
        SCOPED_TRACE(method + " " + path + " " + status);
        openFilled();
        expectAsDescribed(provoke(upper(method), path, status), status, described);
      }
    }
  }
}

TEST_F(HubDocument, KnowsEveryRouteAndItsScope) {
  std::set<std::string> routes{"GET / none"};
  for (const HubRoute& route : hubRoutes()) {
    const char* scope = route.scope == HubScope::none ? "none" : route.scope == HubScope::agent ? "agent" : "admin";
    routes.insert(std::string(route.method.empty() ? "GET" : route.method) + " " + std::string(route.path) + " " +
                  scope);
  }
  std::set<std::string> described;
  for (const auto& [path, methods] : document_["paths"].items()) {
    std::string pattern = path;
    if (const auto begin = pattern.find('{'); begin != std::string::npos) {
      pattern.replace(begin, pattern.find('}') - begin + 1, "*");
    }
    for (const auto& [method, operation] : methods.items()) {
      const json& security = operation["security"];
      const char* scope = security.empty() ? "none" : security[0].contains("agentToken") ? "agent" : "admin";
      described.insert(upper(method) + " " + pattern + " " + scope);
    }
  }
  EXPECT_EQ(described, routes);
}

TEST_F(HubDocument, KnowsEveryFieldOfAReport) {
  const json fields = document_["components"]["schemas"]["Report"]["properties"];
  const json report = toJson(busyReport("a"));
  for (const auto& field : report.items()) EXPECT_TRUE(fields.contains(field.key())) << field.key();
}

}  // namespace
}  // namespace tidra
