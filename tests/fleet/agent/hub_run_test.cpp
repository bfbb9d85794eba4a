// Runs of a host with a hub: what the hub decides, what it cannot, and runs without it.

#include <atomic>
#include <filesystem>

#include "core/base/json_fields.h"
#include "core/platform/files.h"
#include "core/platform/stop_signal.h"
#include "fleet/agent/audit_log.h"
#include "fleet/agent/fleet_runner.h"
#include "fleet/agent/hub_policy.h"
#include "fleet/agent/report_delivery.h"
#include "fleet/hub/protocol/hub_json.h"
#include "tests/support/canned_hub.h"
#include "tests/support/matchers.h"
#include "tests/support/temporary_tree.h"
#include "tests/support/unskipped_folder.h"

namespace tidra {
namespace {

namespace fs = std::filesystem;

using Event = AuditRecord::Event;

constexpr const char* ack = R"({"accepted":true,"host":"h","hostsKnown":7,"message":"ok"})";

class RunsWithAHub : private OutsideSkippedFolders, public testing::Test {
 protected:
  RunsWithAHub() {
    policy_ = FleetPolicy::parse(R"({"name": "own", "scan": {"roots": ["~/code"], "categories": []},
      "autoClean": {"tiers": []}, "never": {"paths": ["~/code/keep"]}})");
    policy_.hub.url = hub_.url();
    policy_.hub.token = "t";
    policy_.hub.policy = "ci";
    policy_.hub.tags = {{"rack", "b"}};
    for (const std::string name : {"a", "b", "c", "d", "keep"}) {
      tree_.writeFile("home/code/" + name + "/package.json", "{}");
      tree_.writeFileOfSize("home/code/" + name + "/node_modules/f", 4096);
    }
    serve(R"({"name": "theirs", "scan": {"roots": ["~/code"], "categories": []},
      "autoClean": {"minIdleDays": 0, "minBytes": 0, "maxItemsPerRun": 1},
      "never": {"tiers": [], "paths": []}, "audit": {"path": "~/elsewhere.jsonl"}, "lockFile": "~/elsewhere.lock",
      "metrics": {"textfile": "~/elsewhere.prom"}, "hub": {"url": "http://evil"}})");
  }

  /// The hub serves this policy and accepts every report.
  void serve(const std::string& document) {
    hub_.answer([document](const HTTPRequest& request) {
      return HTTPResponse::json(200, request.method == "POST" ? ack : document);
    });
  }

  FleetRunResult run(bool dryRun = false) {
    lines_.clear();
    const FleetRunner runner{.policy = policy_,
                             .dryRun = dryRun,
                             .actor = "tester",
                             .intervalSeconds = 3600,
                             .log = [this](const std::string& line) { lines_.push_back(line); },
                             .host = {tree_.path("home"), {{"TIDRA_HOSTNAME", "h"}}},
                             .clock = [this] { return now_; },
                             .shouldCancel = [this] { return stop_.load(); }};
    FleetRunResult result = runner.run();
    records_ = AuditLog::records(tree_.path("home/.tidra/audit.jsonl"));
    std::erase_if(records_, [&](const AuditRecord& record) { return record.runID != result.runID; });
    return result;
  }
  std::size_t projectsLeft() const {
    std::size_t left = 0;
    for (const std::string name : {"a", "b", "c", "d"})
      left += fs::exists(tree_.path("home/code/" + name + "/node_modules")) ? 1 : 0;
    return left;
  }
  std::vector<std::string> warnings() const {
    std::vector<std::string> found = lines_;
    std::erase_if(found, [](const std::string& line) { return !line.starts_with("warning: "); });
    return found;
  }
  std::string copyPath() const { return HubPolicyState::pathFor(tree_.path("home/.tidra/audit.jsonl")); }

  TemporaryTree tree_;
  CannedHub hub_;
  FleetPolicy policy_;
  TimePoint now_{std::chrono::seconds{1773489600}};
  std::atomic<bool> stop_ = false;
  std::vector<std::string> lines_;
  std::vector<AuditRecord> records_;  // of the last run
};

TEST_F(RunsWithAHub, TheHubsPolicyCountsWithinWhatTheHostForbids) {
  const FleetRunResult result = run();
  EXPECT_EQ(projectsLeft(), 3U);
  EXPECT_TRUE(fs::exists(tree_.path("home/code/keep/node_modules")));
  for (const std::string name : {"jsonl", "lock", "prom"})
    EXPECT_FALSE(fs::exists(tree_.path("home/elsewhere." + name)));
  EXPECT_THAT(warnings(), IsEmpty());
  EXPECT_EQ(records_.front().event, Event::runStarted);
  EXPECT_EQ(records_.front().policy, "theirs");
  EXPECT_EQ(records_.front().reason, "policy changed");
  EXPECT_THAT(records_.front().message.value_or(""), StartsWith("policy 'ci' of the hub, SHA-256 "));
  EXPECT_EQ(records_.back().event, Event::hubReported);
  EXPECT_EQ(records_.back().message, hub_.url());
  EXPECT_EQ(lines_.back(), "hub: reported to " + hub_.url() + " (7 hosts known)");
  EXPECT_EQ(result.hubAck.value().hostsKnown, 7);
  EXPECT_FALSE(result.hubError);
  const auto requests = hub_.requests();
  ASSERT_EQ(requests.size(), 2U);
  EXPECT_EQ(requests[0].path, "/api/v1/policies/ci");
  EXPECT_EQ(requests[0].headers.at("authorization"), "Bearer t");
  EXPECT_EQ(HubJSON::decode<HubHostReport>(requests[1].body, "it"), result.hostReport);

  // The report matches the log it was made from.
  const HubHostReport& report = *result.hostReport;
  const AuditRecord& finished = records_[records_.size() - 2];
  EXPECT_EQ(report.auditSeq, finished.seq);
  EXPECT_EQ(report.auditHeadHash, finished.hash);
  EXPECT_EQ(report.host, "h");
  EXPECT_EQ(report.policyName, "theirs");
  EXPECT_EQ(report.tags.at("rack"), "b");
  EXPECT_EQ(report.intervalSeconds, 3600);
  EXPECT_EQ(report.findings, 5);
  EXPECT_EQ(report.disposedItems, 1);
  EXPECT_EQ(report.disposedBytes, 4096);
  EXPECT_EQ(report.quarantineItems, 1);
  EXPECT_EQ(report.runsTotal, 1);
  EXPECT_EQ(report.skippedByReason, (std::map<std::string, std::int64_t>{{"overBudget", 3}, {"pathProtected", 1}}));
  EXPECT_EQ(report.topItems.size(), 5U);
}

TEST_F(RunsWithAHub, WhenTheHubFailsTheCopyCountsUnderTheHostsPresentPolicy) {
  run();
  const auto answers = [&](const HTTPResponse& response, const std::string& reason) {
    hub_.answer(response);
    const FleetRunResult result = run();
    EXPECT_THAT(warnings(),
                Contains("warning: policy 'ci' of the hub: " + reason + "; the copy of 2026-03-14T12:00:00Z is used"));
    EXPECT_EQ(records_.front().policy, "theirs");
    EXPECT_EQ(records_.front().reason, std::nullopt);
    EXPECT_EQ(records_.back().event, Event::runFinished);
    EXPECT_EQ(result.hubAck, std::nullopt);
    EXPECT_TRUE(fs::exists(tree_.path("home/code/keep/node_modules")));
    return result.hubError.value_or("");
  };
  now_ += std::chrono::hours(1);
  EXPECT_EQ(answers(HTTPResponse::json(200, R"({"autoClean": {"tiers": ["warning"]}})"),
                    "Invalid policy: tier 'warning' is both in autoClean.tiers and never.tiers"),
            R"(hub returned 200: {"autoClean": {"tiers": ["warning"]}})");
  EXPECT_EQ(projectsLeft(), 2U);
  EXPECT_EQ(answers(HTTPResponse::json(401, R"({"error":"agent token required"})"),
                    R"(hub returned 401: {"error":"agent token required"})"),
            R"(hub returned 401: {"error":"agent token required"})");
  EXPECT_EQ(lines_.back(), R"(warning: hub report failed: hub returned 401: {"error":"agent token required"})");
  EXPECT_EQ(projectsLeft(), 1U);
  // A new prohibition of the host applies to the older copy too.
  policy_.never.paths.emplace_back("~/code");
  hub_.stop();
  EXPECT_EQ(run().hubError, "hub unreachable: cannot connect: Connection refused");
  EXPECT_EQ(projectsLeft(), 1U);
  EXPECT_EQ(records_.front().policy, "theirs");
  EXPECT_EQ(records_.front().reason, "policy changed");
}

TEST_F(RunsWithAHub, WithoutACopyTheHostsOwnPolicyCounts) {
  hub_.answer(HTTPResponse::json(200, "[1,"));
  run();
  EXPECT_EQ(projectsLeft(), 4U);
  EXPECT_EQ(records_.front().policy, "own");
  EXPECT_THAT(warnings(), Contains(AllOf(StartsWith("warning: policy 'ci' of the hub: The policy is not valid JSON"),
                                         HasSubstr("; this host's own policy is used"))));
  EXPECT_THAT(records_.front().message.value_or(""), StartsWith("this host's own policy, SHA-256 "));
}

TEST_F(RunsWithAHub, PoliciesThatThisHostCannotCarryOutAreRefused) {
  const auto refused = [&](const std::string& document) {
    serve(document);
    run();
    EXPECT_EQ(records_.front().policy, "own") << document;
    return warnings().empty() ? "" : warnings().front();
  };
  EXPECT_THAT(refused(R"({"scan": {"roots": [], "categories": []}})"), HasSubstr("neither scan roots nor categories"));
  EXPECT_THAT(refused(R"({"scan": {"roots": ["$NOPE"]}})"), HasSubstr("names a variable that is not set"));
  EXPECT_THAT(refused(R"({"scan": {"extraRules": ["/proc/kmsg"]}})"), HasSubstr("wants the rules file '/proc/kmsg'"));
  EXPECT_THAT(refused(R"({"disposal": {"quarantineDir": "~/.tidra/audit.jsonl"}})"), HasSubstr("are the same file"));
  EXPECT_THAT(refused(R"({"disposal": {"quarantineDir": "~/.tidra/audit.jsonl.checkpoint"}})"),
              HasSubstr("is where a file of the audit log belongs"));
  EXPECT_THAT(refused(R"({"name": ")" + std::string(100000, 'x') + "\"}"), HasSubstr("longer than 1000 bytes"));
  EXPECT_THAT(refused(R"({"schemaVersion": 2})"), HasSubstr("newer than this build"));
  EXPECT_LT(refused(R"({"scan": {"ecosystems": [")" + std::string(1000000, 'x') + "\"]}}").size(), 1000U);
  EXPECT_EQ(projectsLeft(), 4U);
}

TEST_F(RunsWithAHub, ACopyThatOthersCouldHaveTouchedIsNotUsed) {
  run();
  hub_.answer(HTTPResponse::text(500, ""));
  const std::string good = *readFile(copyPath());
  EXPECT_EQ(fs::status(copyPath()).permissions(), fs::perms(0600));
  const auto ownCounts = [&](const std::string& why) {
    run();
    EXPECT_THAT(warnings(), Contains(HasSubstr(why)));
    EXPECT_EQ(records_.front().policy, "own") << why;
    EXPECT_EQ(projectsLeft(), 3U);
  };
  fs::permissions(copyPath(), fs::perms(0660));
  ownCounts("could be changed or read by other users and is not used");
  std::string changed = good;
  changed[changed.find("theirs")] = 'x';
  tree_.writeFile("home/.tidra/audit.jsonl.policy", changed, 0600);
  ownCounts("is damaged and is not used");
  tree_.writeFile("home/.tidra/audit.jsonl.policy", good.substr(0, good.size() / 2), 0600);
  ownCounts("is damaged and is not used");
  fs::remove(copyPath());
  fs::create_directory(copyPath());
  ownCounts("cannot be read");
  fs::remove(copyPath());
  // A symlink planted by someone with access to the folder is replaced; its target is unchanged.
  fs::create_symlink(tree_.writeFile("elsewhere", "precious"), copyPath());
  ownCounts("could be changed or read by other users and is not used");
  EXPECT_EQ(*readFile(tree_.path("elsewhere")), "precious");
  EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(copyPath())));
  fs::remove(copyPath());
  // The copy is valid again, but not for another policy of the hub.
  tree_.writeFile("home/.tidra/audit.jsonl.policy", good, 0600);
  policy_.hub.policy = "other";
  ownCounts("this host's own policy is used");
}

TEST_F(RunsWithAHub, EveryChangeIsRecordedOnceAndADryRunKeepsTheCopyToo) {
  const auto reasons = [&](bool dryRun) {
    run(dryRun);
    return records_.front().reason.value_or("") + "/" + *records_.front().policy;
  };
  EXPECT_EQ(reasons(true), "policy changed/theirs");
  EXPECT_EQ(projectsLeft(), 4U);
  hub_.answer(HTTPResponse::text(503, ""));
  EXPECT_EQ(reasons(false), "/theirs");
  EXPECT_EQ(projectsLeft(), 3U);
  policy_.hub.tags.clear();  // no effect on what is executed
  EXPECT_EQ(reasons(false), "/theirs");
  serve(R"({"name": "third", "dryRun": true, "scan": {"roots": ["~/code"], "categories": []}})");
  EXPECT_EQ(reasons(false), "policy changed/third");
  policy_.hub.policy.reset();
  EXPECT_EQ(reasons(false), "policy changed/own");
  EXPECT_EQ(reasons(false), "/own");
}

TEST_F(RunsWithAHub, AStopEndsTheReportAtOnce) {
  StopSignal release;
  hub_.answer([&](const HTTPRequest& request) {
    if (request.method == "GET") return HTTPResponse::json(200, "{}");
    stop_ = true;
    EXPECT_TRUE(release.waitFor(std::chrono::minutes(2)));  // longer than the client's timeout
    return HTTPResponse::json(200, ack);
  });
  const FleetRunResult result = run();
  EXPECT_EQ(result.hubError, "hub unreachable: connection error: cancelled");
  EXPECT_EQ(records_.back().event, Event::runFinished);
  EXPECT_FALSE(result.interrupted);
  release.raise();
  hub_.stop();  // ends with the handler, which uses the signal
}

TEST_F(RunsWithAHub, ReportsOfDaysWithoutTheHubAreSentLaterInTheirOrder) {
  const std::string kept = UnsentReports::pathFor(tree_.path("home/.tidra/audit.jsonl"));
  std::vector<std::string> runs;
  const auto runAnswering = [&](int status) {
    hub_.answer([status](const HTTPRequest& request) {
      return HTTPResponse::json(request.method == "POST" ? status : 200, request.method == "POST" ? ack : "{}");
    });
    hub_.requests();
    runs.push_back(run().runID);
  };
  const auto posted = [&] {
    std::vector<std::string> ids;
    for (const HTTPRequest& request : hub_.requests()) {
      if (request.method == "POST") ids.push_back(HubJSON::decode<HubHostReport>(request.body, "it").runID);
    }
    return ids;
  };
  for (const int status : {503, 401, 500}) runAnswering(status);
  EXPECT_EQ(posted(), std::vector{runs[0]});  // the hub is away for the others as well
  EXPECT_EQ(fs::status(kept).permissions(), fs::perms(0600));
  runAnswering(200);
  EXPECT_EQ(posted(), runs);
  EXPECT_THAT(lines_, Contains("hub: sent 3 earlier reports"));
  EXPECT_EQ(records_.back().event, Event::hubReported);
  EXPECT_FALSE(fs::exists(kept));
  // A report refused for its content is not sent again.
  runAnswering(413);
  EXPECT_FALSE(fs::exists(kept));
  runAnswering(503);
  runAnswering(400);
  EXPECT_THAT(warnings(), Contains(AllOf(HasSubstr(runs[5]), HasSubstr("is dropped"))));
  EXPECT_FALSE(fs::exists(kept));
  runAnswering(503);
  fs::permissions(kept, fs::perms(0644));
  runAnswering(200);
  EXPECT_EQ(posted(), std::vector{runs.back()});
  EXPECT_THAT(warnings(), Contains(HasSubstr("could be changed or read by other users and are not sent")));
}

TEST(UnsentReportsTest, TheNewestStayWithinBothBounds) {
  TemporaryTree tree;
  const std::string path = tree.path("audit.jsonl.unsent");
  std::vector<HubHostReport> reports(UnsentReports::mostReports + 2);
  for (std::size_t i = 0; i < reports.size(); ++i) {
    reports[i].host = "h";
    reports[i].findings = static_cast<std::int64_t>(i);
  }
  EXPECT_EQ(UnsentReports::write(path, reports), 2U);
  EXPECT_EQ(UnsentReports::read(path).front().findings, 2);
  for (auto& report : reports) report.tags["long"] = std::string(UnsentReports::mostBytes / 4, 'x');
  EXPECT_EQ(UnsentReports::write(path, reports), reports.size() - 3);
  EXPECT_EQ(UnsentReports::read(path).back(), reports.back());
  EXPECT_EQ(UnsentReports::write(path, {}), 0U);
  EXPECT_FALSE(fs::exists(path));
}

TEST_F(RunsWithAHub, WithoutAHubNothingIsFetchedKeptOrSaid) {
  policy_.hub = {};
  const FleetRunResult result = run();
  EXPECT_THAT(hub_.requests(), IsEmpty());
  EXPECT_FALSE(fs::exists(copyPath()));
  EXPECT_EQ(records_.front().message, std::nullopt);
  EXPECT_EQ(result.hubError, std::nullopt);
  EXPECT_EQ(result.hostReport.value().policyName, "own");
  policy_.hub.policy = "ci";
  run();
  EXPECT_THAT(warnings(), Contains(HasSubstr("hub.url is not set; this host's own policy is used")));
}

}  // namespace
}  // namespace tidra
