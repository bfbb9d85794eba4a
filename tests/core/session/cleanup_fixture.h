// Scans and cleanups of the folders "code" and "home" in a session.
#pragma once

#include <deque>
#include <map>
#include <string>
#include <vector>

#include "core/platform/directory_reader.h"
#include "core/session/cleanup_session.h"
#include "tests/support/git_repositories.h"

namespace tidra {

class CleanupSession : public WithGitRepositories {
 protected:
  static constexpr TimePoint now{std::chrono::seconds{1750000000}};

  /// A scan of the projects in "code".
  ScanRequest request() const {
    ScanRequest request;
    request.roots = {tree_.path("code")};
    request.catalog = RuleCatalog::load(R"({"catalogVersion": "test", "projectRules": [
      {"id": "nm", "folderName": "node_modules", "ecosystem": "npm"},
      {"id": "vendor", "folderName": "vendor", "ecosystem": "npm"},
      {"id": "build", "folderName": "build", "ecosystem": "general", "tier": "caution"}], "systemRules": [
      {"id": "cache", "category": "mine", "label": "Cache", "ecosystem": "general",
       "paths": {"linux": ["~/.cache/mine"], "macos": ["~/.cache/mine"]}},
      {"id": "sdk", "category": "mine", "label": "SDK", "ecosystem": "general", "tier": "warning", "mode": "children",
       "paths": {"linux": ["~/sdks"], "macos": ["~/sdks"]}}]})");
    request.resolver = {tree_.path("home"), environment_};
    request.host = "a-host";
    request.mounts = mountPoints();
    request.git = git_;
    request.scanSystem = false;
    request.now = now;
    return request;
  }
  /// The same with the system rules, wherever their places are.
  ScanRequest everywhere() const {
    ScanRequest request = this->request();
    request.scanSystem = true;
    request.systemReach = SystemReach::everywhere;
    request.categories = {"mine"};
    return request;
  }
  CleanupSetting setting(DisposalMethod method = DisposalMethod::delete_) const {
    const ScanRequest request = this->request();
    auto setting = CleanupSetting::forRequest(request, method, QuarantineConfig::makeDefault(request.resolver), false);
    setting.service.clock = [] { return now; };
    return setting;
  }
  /// The outcome lives as long as the test, for candidates refer to it.
  const ScanOutcome& scanned(const ScanRequest& request) const { return outcomes_.emplace_back(runScan(request)); }
  std::vector<CleanupCandidate> selectedFrom(const ScanRequest& request, CleanupOptions options = {}) const {
    options.takesUnproven = true;
    RemovalGuard guard(request.resolver, request.mounts);
    return selectForCleanup(scanned(request), guard, options);
  }
  std::vector<CleanupCandidate> selected(const CleanupOptions& options = {}) const {
    return selectedFrom(request(), options);
  }
  /// "path: refusal" of each, with the path relative to "code".
  std::vector<std::string> described(const std::vector<CleanupCandidate>& candidates) const {
    std::vector<std::string> lines;
    for (const auto& candidate : candidates)
      lines.push_back(candidate.item.path.substr(tree_.path("code/").size()) + ": " +
                      (candidate.refusal ? candidate.refusal->text : "-"));
    return lines;
  }
  using Tiers = std::map<std::string, ArtifactSafetyTier>;
  /// The tier of each finding by its path in "code".
  Tiers tiersOf(const ScanRequest& request) const {
    Tiers tiers;
    for (const auto& found : runScan(request).findings)
      tiers[found.finding.path.substr(tree_.path("code/").size())] = found.finding.safetyTier;
    return tiers;
  }
  bool exists(const std::string& relative) const { return static_cast<bool>(pathFacts(tree_.path(relative))); }

 private:
  mutable std::deque<ScanOutcome> outcomes_;
};

}  // namespace tidra
