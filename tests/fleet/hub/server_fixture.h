// A hub called without a socket.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "core/base/json_fields.h"
#include "fleet/hub/hub_server.h"
#include "fleet/hub/protocol/hub_json.h"
#include "tests/fleet/hub/hub_fixture.h"
#include "tests/support/temporary_tree.h"

namespace tidra {

class HubServerTest : public testing::Test {
 protected:
  void SetUp() override { open({}); }

  /// Opens a hub on the same folder with these tokens; empty: not configured.
  void open(HubTokens tokens, const std::string& title = "Fleet") {
    hub_.reset();  // unlocks the folder before it is reopened
    HubConfig config;
    config.port = 0;
    config.dataDir = tree_.path("data");
    config.title = title;
    hub_ = std::make_unique<HubServer>(
        config, [this] { return now_; },
        [this](const std::string& line) {
          const std::lock_guard guard(logLock_);
          log_.push_back(line);
        });
    hub_->replaceTokens(std::move(tokens));
  }

  struct Asked {
    std::string token = {};
    std::string body = {};
    HTTPHeaders headers = {{"content-type", "application/json"}};
    std::map<std::string, std::string> query = {};
  };
  HTTPResponse ask(const std::string& method, const std::string& path, Asked asked) const {
    if (!asked.token.empty()) asked.headers["authorization"] = "Bearer " + asked.token;
    return hub_->handle({method, path, asked.query, asked.headers, asked.body});
  }
  HTTPResponse ask(const std::string& method, const std::string& path) const { return ask(method, path, Asked()); }
  HTTPResponse put(const std::string& path, const std::string& body) const {
    return ask("PUT", path, {.token = {}, .body = body});
  }
  HTTPResponse get(const std::string& path, std::map<std::string, std::string> query = {}) const {
    return hub_->handle({"GET", path, std::move(query), {}, {}});
  }
  /// "404 not found": status and message of a refusal.
  static std::string refusalOf(const HTTPResponse& response) {
    const auto body = parseJson(response.body, "The body");
    EXPECT_EQ(body.size(), 2U) << response.body;
    EXPECT_EQ(body.at("status"), std::to_string(response.status));
    EXPECT_EQ(response.headers.at("Content-Type"), "application/json; charset=utf-8");
    return std::to_string(response.status) + " " + body.at("error").get<std::string>();
  }
  HTTPResponse report(const HubHostReport& report) const {
    return ask("POST", "/api/v1/report", {.token = {}, .body = HubJSON::compact(report)});
  }
  std::vector<std::string> logged() const {
    const std::lock_guard guard(logLock_);
    return log_;
  }

  const TemporaryTree tree_;
  TimePoint now_ = noon;
  mutable std::mutex logLock_;
  std::vector<std::string> log_;
  std::unique_ptr<HubServer> hub_;
};

}  // namespace tidra
