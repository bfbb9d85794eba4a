// Runs of the agent on a host with projects under git, at simulated times.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "core/dispose/quarantine.h"
#include "core/platform/files.h"
#include "fleet/agent/audit_log.h"
#include "fleet/agent/fleet_runner.h"
#include "tests/support/git_repositories.h"
#include "tests/support/unskipped_folder.h"

namespace tidra {

class FleetRuns : private OutsideSkippedFolders, public WithGitRepositories {
 protected:
  using Event = AuditRecord::Event;
  static constexpr std::chrono::seconds day{86400};
  static constexpr std::uint64_t megabyte = 1048576;

  void SetUp() override {
    WithGitRepositories::SetUp();
    policy_ = FleetPolicy::parse(R"({"name": "night",
      "scan": {"roots": ["~/code"], "categories": []},
      "autoClean": {"minIdleDays": 30},
      "never": {"paths": ["~/code/keep"]},
      "metrics": {"textfile": "~/metrics/tidra.prom"}})");
  }

  /// Committed projects with one artefact of 4 MB each, last worked on at commitDate.
  void makeProjects(const std::vector<std::string>& names) const {
    for (const std::string& name : names) {
      const std::string folder = "home/code/" + name;
      tree_.writeFile(folder + "/package.json", "{}");
      makeRepository(folder);
      for (const char* file : {"/package.json", "/file"}) tree_.setModified(folder + file, commitDate);
      tree_.writeFile(folder + "/.git/info/exclude", "node_modules\n");
      tree_.writeFileOfSize(folder + "/node_modules/f", 4 * megabyte);
    }
  }
  void commitAgain(const std::string& name) const {
    git(tree_.path("home/code/" + name), {"commit", "-q", "--allow-empty", "-m", "More"}, now_);
  }
  bool has(const std::string& name) const {
    return std::filesystem::exists(tree_.path("home/code/" + name + "/node_modules/f"));
  }

  FleetRunner runner() {
    lines_.clear();
    return {.policy = policy_,
            .actor = "tester",
            .intervalSeconds = std::nullopt,
            .log = [this](const std::string& line) { lines_.push_back(line); },
            .host = {tree_.path("home"), environment_},
            .clock = [this] { return now_; }};
  }
  FleetRunResult run() { return runner().run(); }

  std::string auditPath() const { return tree_.path("home/.tidra/audit.jsonl"); }
  void append(const std::string& runID, Event event, TimePoint time = {}) const {
    AuditLog(auditPath()).append([&](AuditRecord& record) {
      record.runID = runID;
      record.event = event;
      record.time = time;
    });
  }
  std::vector<AuditRecord> recordsOf(const FleetRunResult& result) const {
    auto records = AuditLog::records(auditPath());
    std::erase_if(records, [&](const AuditRecord& record) { return record.runID != result.runID; });
    return records;
  }
  std::vector<Event> eventsOf(const FleetRunResult& result) const {
    std::vector<Event> events;
    for (const auto& record : recordsOf(result)) events.push_back(record.event);
    return events;
  }
  std::vector<std::string> errorsOf(const FleetRunResult& result) const {
    std::vector<std::string> messages;
    for (const auto& record : recordsOf(result))
      if (record.event == Event::error) messages.push_back(*record.message);
    return messages;
  }
  std::string metric(const std::string& name) const {
    const auto text = readFile(tree_.path("home/metrics/tidra.prom"));
    const auto at = text ? text->find("\n" + name + " ") : std::string::npos;
    if (at == std::string::npos) return "missing";
    const auto from = at + name.size() + 2;
    return text->substr(from, text->find('\n', from) - from);
  }

  QuarantineDisposer quarantine() const {
    return {{.directory = tree_.path("home/.tidra/quarantine")}, {tree_.path("home"), environment_}, "h", {}};
  }

  FleetPolicy policy_;
  TimePoint now_ = commitDate + 100 * day;
  std::vector<std::string> lines_;
};

}  // namespace tidra
