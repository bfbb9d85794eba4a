// The hub over its socket: many concurrent clients, and third-party ones.
#include <atomic>
#include <thread>

#include "core/platform/process_runner.h"
#include "fleet/http/http_client.h"
#include "tests/fleet/hub/server_fixture.h"

namespace tidra {
namespace {

class HubOverItsSocket : public HubServerTest {
 protected:
  void SetUp() override {
    open({.agent = {"agent"}, .admin = {"admin"}});
    hub_->start();
    url_ = "http://127.0.0.1:" + std::to_string(hub_->port());
  }
  HTTPClientResponse send(const std::string& method, const std::string& path, const std::string& token,
                          const std::string& body = {}) const {
    HTTPClient::Request request{.method = method, .url = url_ + path, .headers = {}, .body = body};
    request.headers["Authorization"] = "Bearer " + token;
    if (!body.empty()) request.headers["Content-Type"] = "application/json";
    return HTTPClient::send(request, 30, {});
  }

  std::string url_;
};

TEST_F(HubOverItsSocket, LosesNoReportWhileOthersReadAndTokensChange) {
  constexpr int agents = 4;
  constexpr int reports = 25;
  std::atomic<int> running = agents;
  std::vector<std::thread> threads;
  for (int agent = 0; agent < agents; ++agent) {
    threads.emplace_back([&, agent] {
      for (int i = 0; i < reports; ++i) {
        auto each = busyReport("host" + std::to_string(agent));
        each.disposedItems = i;
        EXPECT_EQ(send("POST", "/api/v1/report", "agent", HubJSON::compact(each)).status, 200);
      }
      --running;
    });
  }
  for (const char* path : {"/api/v1/hosts", "/api/v1/summary", "/metrics", "/api/v1/events", "/api/v1/info", "/"}) {
    threads.emplace_back([&, path] {
      while (running > 0) EXPECT_EQ(send("GET", path, "admin").status, 200) << path;
    });
  }
  threads.emplace_back([&] {
    while (running > 0) {
      const std::string note = "seen";
      send("PUT", "/api/v1/hosts/host0/note", "admin", note);
      hub_->replaceTokens({.agent = {"agent"}, .admin = {"admin"}});
      hub_->replaceTokens({.agent = {"other", "agent"}, .admin = {"admin", "other"}});
    }
  });
  for (std::thread& thread : threads) thread.join();
  for (const auto& file : hub_->store().inventory()) {
    EXPECT_EQ(file->reports, reports) << file->host;
    EXPECT_EQ(file->latest.disposedItems, reports - 1);
  }
  EXPECT_EQ(hub_->store().inventory().size(), static_cast<std::size_t>(agents));
}

TEST_F(HubOverItsSocket, StoppingFinishesWhatHasArrived) {
  std::atomic<int> accepted = 0;
  std::vector<std::thread> threads;
  for (int agent = 0; agent < 4; ++agent) {
    threads.emplace_back([&, agent] {
      try {
        for (;;) {
          const auto answer =
              send("POST", "/api/v1/report", "agent", HubJSON::compact(plainReport("h" + std::to_string(agent))));
          if (answer.status == 200) ++accepted;
        }
      } catch (const HTTPClientError&) {
        // The hub has closed the connection.
      }
    });
  }
  while (accepted < 20) std::this_thread::yield();
  hub_->stop();
  for (std::thread& thread : threads) thread.join();
  std::int64_t stored = 0;
  for (const auto& file : hub_->store().inventory()) stored += file->reports;
  // A client that was cut off before its response counts on the hub's side only.
  EXPECT_GE(stored, accepted);
  EXPECT_LE(stored, accepted + 4);
}

/// The output on one line, with spaces for line breaks.
std::string shellOutput(const std::string& script) {
  const auto ran = ProcessRunner::run({.executablePath = "/bin/sh",
                                       .arguments = {"-c", script},
                                       .environment = Environment{{"PATH", "/usr/bin:/bin:/usr/local/bin"}},
                                       .timeoutSeconds = 60});
  std::string output = ran ? ran->stdout_ : "";
  for (char& c : output) {
    if (c == '\n' || c == '\r') c = ' ';
  }
  return output;
}

TEST_F(HubOverItsSocket, OtherProgramsUnderstandIt) {
  const std::string body = tree_.writeFile("report.json", HubJSON::compact(busyReport("web/01")));
  struct Client {
    const char* program;
    std::string script;
    const char* expected;
  };
  const std::string bearer = "'Authorization: Bearer admin'";
  const Client clients[] = {
      {"curl",
       "curl -sS -H 'Authorization: Bearer agent' -H 'Content-Type: application/json' -d @" + body + " " + url_ +
           "/api/v1/report && curl -sS --compressed -H " + bearer + " " + url_ +
           "/api/v1/hosts/web%2F01 && curl -sS -I " + url_ + "/ && curl -sS -d x=1 " + url_ +
           "/api/v1/report?token=agent",
       R"("accepted":true.*"statusReasons".*X-Frame-Options: DENY.*must say Content-Type)"},
      {"wget", "wget -q -O - --header=" + bearer + " " + url_ + "/api/v1/policies", R"(\{"policies":\[\]\})"},
      {"python3",
       "python3 -c \"import http.client,gzip; c=http.client.HTTPConnection('127.0.0.1'," +
           std::to_string(hub_->port()) +
           "); c.request('GET','/?a=b',headers={'Accept-Encoding':'gzip'}); r=c.getresponse(); "
           "print(r.status, r.getheader('Content-Encoding'), len(gzip.decompress(r.read())) > 50000)\"",
       "200 gzip True"},
  };
  int met = 0;
  for (const Client& client : clients) {
    if (shellOutput(std::string("command -v ") + client.program).empty()) continue;
    ++met;
    EXPECT_THAT(shellOutput(client.script), testing::ContainsRegex(client.expected)) << client.program;
  }
  if (met == 0) GTEST_SKIP() << "curl, wget and Python are missing";
}

}  // namespace
}  // namespace tidra
