// Scans of projects in Git repositories, with three rules for their folders.
#pragma once

#include <string>
#include <vector>

#include "core/session/scan_session.h"
#include "tests/support/git_repositories.h"
#include "tests/support/matchers.h"

namespace tidra {

class ScanSession : public WithGitRepositories {
 protected:
  static constexpr TimePoint now{std::chrono::seconds{1750000000}};  // 2025-06-15

  ScanRequest request(const std::vector<std::string>& roots) const {
    ScanRequest request;
    for (const std::string& root : roots) request.roots.push_back(tree_.path(root));
    request.catalog = RuleCatalog::load(R"({"catalogVersion": "test", "projectRules": [
      {"id": "nm", "folderName": "node_modules", "ecosystem": "npm"},
      {"id": "target", "folderName": "target", "ecosystem": "rust", "tier": "caution", "restoreHint": "build"},
      {"id": "data", "folderName": "data", "ecosystem": "general", "tier": "warning"}]})");
    request.resolver = {tree_.path("home"), environment_};
    request.host = "a-host";
    request.mounts = {{"/", "ext4", "8:1"}};
    request.git = git_;
    request.scanSystem = false;
    request.now = now;
    return request;
  }

  std::vector<std::string> found(const ScanRequest& request) const {
    std::vector<std::string> paths;
    for (const auto& found : runScan(request).findings)
      paths.push_back(found.finding.path.substr(tree_.root().size() + 1));
    return paths;
  }

  static constexpr TimePoint fileDate{std::chrono::seconds{1600000000}};

  /// Three projects of different age and size; the last was never committed.
  void makeProjects() const {
    makeRepository("code/fresh");
    tree_.setModified("code/fresh/file", fileDate);
    tree_.writeFile("code/fresh/node_modules/f", std::string(10, 'x'));
    tree_.writeFile("code/fresh/target/f", std::string(200, 'x'));
    tree_.writeFile("code/old/target/f", std::string(3000, 'x'));
    tree_.writeFile("code/old/data/f", std::string(40000, 'x'));
    tree_.setModified("code/old", TimePoint{std::chrono::seconds{1000000000}});  // 2001-09-09
  }
};

}  // namespace tidra
