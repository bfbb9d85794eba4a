// The agent as a service: periodic runs, a listener, and policy reload.
#include "fleet/agent/fleet_service.h"

#include <atomic>
#include <condition_variable>
#include <filesystem>
#include <mutex>

#include "core/base/errors.h"
#include "core/base/joining_thread.h"
#include "tests/support/canned_hub.h"
#include "tests/support/loopback_client.h"
#include "tests/support/matchers.h"
#include "tests/support/temporary_tree.h"

namespace tidra {
namespace {

FleetService::Setting settingOf(const std::string& policyPath, const std::string& home) {
  return {.policyPath = policyPath,
          .intervalSeconds = 1,
          .actor = "tester",
          .host = {home, {}},
          .clock = [] { return timePointAt(1750000000); },
          .shouldStop = [] { return true; },
          .log = [](const std::string&) {}};
}

/// Runs a service on a thread, which the destructor ends.
class RunningService {
 public:
  RunningService(const std::string& policyPath, const std::string& home) {
    auto setting = settingOf(policyPath, home);
    setting.shouldStop = [this] { return stop_.load(); };
    setting.log = [this](const std::string& line) { take(line); };
    setting.onListening = [this](std::uint16_t port) { port_ = port; };
    thread_ = JoiningThread([setting] { FleetService(setting).serve(); });
  }
  ~RunningService() { stop_ = true; }
  std::uint16_t port() const { return port_; }
  RunningService(const RunningService&) = delete;
  RunningService& operator=(const RunningService&) = delete;

  /// Waits for a line with this prefix after the last one waited for; false on timeout.
  bool waitFor(const std::string& beginning) {
    std::unique_lock guard(lock_);
    return arrived_.wait_for(guard, std::chrono::seconds(60), [&] {
      while (next_ < lines_.size()) {
        if (lines_[next_++].starts_with(beginning)) return true;
      }
      return false;
    });
  }

 private:
  void take(const std::string& line) {
    const std::scoped_lock guard(lock_);
    lines_.push_back(line);
    arrived_.notify_all();
  }

  std::mutex lock_;  // guards the next two
  std::vector<std::string> lines_;
  std::size_t next_ = 0;
  std::condition_variable arrived_;
  std::atomic<bool> stop_{false};
  std::atomic<std::uint16_t> port_{0};
  JoiningThread thread_;
};

std::string policyNamed(const std::string& name, const std::string& metrics = R"("listen": "127.0.0.1:0")") {
  return R"({"name": ")" + name + R"(", "scan": {"roots": ["~/code"], "categories": []}, "metrics": {)" + metrics +
         "}}";
}

class ServiceOfAHost : public testing::Test {
 protected:
  ServiceOfAHost() { tree.makeFolder("home/code"); }

  const TemporaryTree tree;
  const std::string policy = tree.writeFile("policy.json", policyNamed("first"));
};

class FleetServiceTest : public ServiceOfAHost {
 protected:
  RunningService service{policy, tree.path("home")};
};

TEST_F(FleetServiceTest, RunsAgainAndAgainAndTakesOnlyValidPolicies) {
  EXPECT_TRUE(service.waitFor("metrics on http://127.0.0.1:"));
  EXPECT_TRUE(service.waitFor("run finished"));
  EXPECT_TRUE(service.waitFor("run finished"));
  tree.writeFile("policy.json", policyNamed("second"));
  EXPECT_TRUE(service.waitFor("policy second reloaded"));
  EXPECT_TRUE(service.waitFor("run finished"));
  tree.writeFile("policy.json", R"({"autoClean": {"tiers": ["warning"]}})");
  EXPECT_TRUE(service.waitFor("warning: the policy stays as it was: Invalid policy: tier 'warning'"));
  EXPECT_TRUE(service.waitFor("run finished"));
}

TEST_F(FleetServiceTest, MovesItsListenerAndKeepsItsOwnFilesOffThePolicy) {
  EXPECT_TRUE(service.waitFor("run finished"));
  const std::string port = std::to_string(service.port());
  tree.writeFile("policy.json", policyNamed("second", R"("listen": ":)" + port + "\""));
  EXPECT_TRUE(service.waitFor("metrics on http://0.0.0.0:" + port));
  EXPECT_TRUE(service.waitFor("policy second reloaded"));
  tree.writeFile("policy.json", policyNamed("third", R"("textfile": ")" + policy + R"(", "listen": "127.0.0.1:0")"));
  EXPECT_TRUE(
      service.waitFor("warning: the policy stays as it was: metrics.textfile '" + policy + "' is the policy file"));
}

TEST_F(FleetServiceTest, TakesAPolicyWhoseModeIsMendedLater) {
  EXPECT_TRUE(service.waitFor("run finished"));
  // Atomic, so that the service never sees this text with another mode.
  tree.writeFile("next.json", policyNamed("second"), 0666);
  std::filesystem::rename(tree.path("next.json"), policy);
  EXPECT_TRUE(service.waitFor("warning: the policy stays as it was: "));
  tree.setMode("policy.json", 0600);
  EXPECT_TRUE(service.waitFor("policy second reloaded"));
}

TEST_F(ServiceOfAHost, ServesTheHostReportAndWaitsForAHubThatIsAway) {
  CannedHub hub;
  hub.answer(HTTPResponse::text(500, "not yet"));
  // Without the hub there is nothing to scan.
  tree.writeFile("policy.json", R"({"scan": {"roots": [], "categories": []},
    "metrics": {"listen": "127.0.0.1:0"}, "hub": {"policy": "ci", "url": ")" +
                                    hub.url() + "\"}}");
  RunningService service(policy, tree.path("home"));
  EXPECT_TRUE(service.waitFor("no run: policy resolves to no scan roots"));
  EXPECT_THAT(exchange(service.port(), "GET /report HTTP/1.1\r\n\r\n"), EndsWith("\r\n\r\n{}"));
  hub.answer(HTTPResponse::json(200, R"({"name": "late", "scan": {"roots": ["~/code"], "categories": []}})"));
  EXPECT_TRUE(service.waitFor("warning: hub report failed: "));
  EXPECT_TRUE(service.waitFor("run "));
  EXPECT_THAT(exchange(service.port(), "GET /report HTTP/1.1\r\n\r\n"),
              AllOf(HasSubstr(R"("policyName":"late")"), HasSubstr(R"("auditHeadHash":)")));
}

TEST_F(FleetServiceTest, AFailingRunDoesNotEndIt) {
  EXPECT_TRUE(service.waitFor("run finished"));
  std::filesystem::rename(tree.path("home/.tidra/audit.jsonl"), tree.path("aside"));
  tree.makeFolder("home/.tidra/audit.jsonl");
  EXPECT_TRUE(service.waitFor("run failed: "));
  std::filesystem::remove(tree.path("home/.tidra/audit.jsonl"));
  EXPECT_TRUE(service.waitFor("run finished"));
}

TEST_F(ServiceOfAHost, SaysAtTheStartWhatKeepsItFromServing) {
  const auto serve = [&](const std::string& text) {
    FleetService(settingOf(tree.writeFile("policy.json", text), tree.path("home"))).serve();
  };
  EXPECT_THROW(serve(R"({"metrics": {"listen": "no-address:0"}})"), InputError);
  EXPECT_THROW(serve(R"({"schemaVersion": 2})"), FleetPolicyError);
  tree.writeFile("policy.json", "", 0666);
  EXPECT_THROW(serve(policyNamed("everybody's")), InputError);
  tree.setMode("policy.json", 0600);
  tree.writeFile("home/.tidra/fleet.lock", "1\n");
  EXPECT_THROW(serve(policyNamed("locked out")), FleetRunError);
}

}  // namespace
}  // namespace tidra
