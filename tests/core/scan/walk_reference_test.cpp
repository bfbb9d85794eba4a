// Compares the parallel walk with a plain recursion over generated trees.
#include <fnmatch.h>
#include <algorithm>
#include <filesystem>
#include <random>

#include "tests/core/scan/scan_fixture.h"

namespace tidra {
namespace {

namespace fs = std::filesystem;

const RuleCatalog& testCatalog() {
  static const RuleCatalog catalog = RuleCatalog::load(R"({
    "projectRules": [
      {"id": "nm", "folderName": "node_modules", "ecosystem": "npm"},
      {"id": "obj", "folderName": "obj", "requireMarker": true,
        "markers": [{"ecosystem": "dotnet", "files": ["*.csproj"]}]},
      {"id": "target", "folderName": "target", "markers": [
        {"ecosystem": "rust", "files": ["Cargo.toml"]}, {"ecosystem": "java", "files": ["pom.xml", "*.gradle"]}]},
      {"id": "build-src", "folderName": "build", "parentName": "src", "ecosystem": "java", "requireMarker": true,
        "markers": [{"ecosystem": "java", "files": ["../pom.xml"]}]},
      {"id": "build", "folderName": "build", "ecosystem": "general", "requireMarker": true,
        "markers": [{"ecosystem": "general", "files": ["a", "a.b"]}]}
    ],
    "walkSkip": {"all": [".git"]}})");
  return catalog;
}

/// Deterministic. Few names, so that rules, markers and exclusions interact.
class GeneratedTree {
 public:
  explicit GeneratedTree(const TemporaryTree& tree) : tree_(tree) { fill("", 0); }

 private:
  void fill(const std::string& folder, int depth) {
    constexpr int deepest = 6;
    const auto maybe = [&](const std::string& name, std::size_t ofTen) {
      if (depth >= deepest || below(10) >= ofTen) return;
      tree_.makeFolder(folder + name);
      fill(folder + name + "/", depth + 1);
    };
    for (const char* name : {"src", "a", "a-b", "a.b", "a b"}) maybe(name, depth < 3 ? 7 : 4);
    for (const char* name : {"node_modules", "obj", "target", "build", ".git", "X.app"}) maybe(name, 2);
    for (const char* name : {"Cargo.toml", "pom.xml", "p.csproj", "x.gradle", "data", "node_modules", "target", "a"}) {
      if (below(9) != 0 || fs::exists(fs::symlink_status(tree_.path(folder + name)))) continue;
      if (below(6) == 0) {
        tree_.symlink(folder + name, below(2) == 0 ? "data" : "..");
      } else {
        tree_.writeFile(folder + name, std::string(below(100), 'x'));
      }
    }
  }

  std::size_t below(std::size_t bound) { return random_() % bound; }

  const TemporaryTree& tree_;
  std::mt19937 random_{42};
};

class PlainWalk {
 public:
  explicit PlainWalk(const Scanner::Request& request) : request_(request) {
    barred_ = request.exclusionFilter;
    barred_.globPatterns.emplace_back(".git");
    walk(request.root);
  }

  std::vector<ScanArtifactFinding> findings;
  std::uint64_t entries = 0;

 private:
  void walk(const fs::path& folder) {
    std::vector<fs::directory_entry> children(fs::directory_iterator(folder), fs::directory_iterator{});
    std::sort(children.begin(), children.end(),
              [](const auto& a, const auto& b) { return a.path().filename().native() < b.path().filename().native(); });
    for (const auto& child : children) {
      if (barred_.isExcluded(child.path().native())) continue;
      ++entries;
      if (child.symlink_status().type() != fs::file_type::directory) continue;
      if (!report(folder, child.path()) && child.path().extension() != ".app") walk(child);
    }
  }

  /// True when some rule matches, regardless of its ecosystem.
  bool report(const fs::path& project, const fs::path& folder) {
    for (const auto& rule : request_.catalog->projectRules) {
      if (rule.folderName != folder.filename() || (rule.parentName && project.filename() != *rule.parentName)) continue;
      std::optional<std::string> ecosystem;
      if (!rule.requireMarker) ecosystem = rule.ecosystem;
      for (auto marker = rule.markers.rbegin(); marker != rule.markers.rend(); ++marker) {
        if (std::any_of(marker->files.begin(), marker->files.end(), [&](const auto& f) { return holds(project, f); })) {
          ecosystem = marker->ecosystem;
        }
      }
      if (!ecosystem) continue;
      if (request_.enabledEcosystems && !request_.enabledEcosystems->contains(*ecosystem)) return true;
      if (holdsExcluded(folder)) return true;
      findings.push_back({.path = folder,
                          .label = rule.label,
                          .sizeBytes = sizeOf(folder),
                          .ecosystemTag = *ecosystem,
                          .groupRoot = rule.parentName ? project.parent_path() : project,
                          .restoreHint = {},
                          .lastActivityDate = {},
                          .ruleID = rule.id});
      return true;
    }
    return false;
  }

  static bool holds(const fs::path& project, const std::string& file) {
    if (file.find('*') == std::string::npos) return fs::exists(project / file);
    return std::any_of(fs::directory_iterator(project), fs::directory_iterator{}, [&](const auto& entry) {
      return ::fnmatch(file.c_str(), entry.path().filename().c_str(), 0) == 0;
    });
  }

  /// An exclusion inside keeps the whole artefact.
  bool holdsExcluded(const fs::path& folder) const {
    return std::any_of(fs::directory_iterator(folder), fs::directory_iterator{}, [&](const auto& entry) {
      if (request_.exclusionFilter.isExcluded(entry.path().native())) return true;
      const bool isEntered = entry.symlink_status().type() == fs::file_type::directory;
      return isEntered && holdsExcluded(entry.path());
    });
  }

  static std::uint64_t sizeOf(const fs::path& folder) {
    std::uint64_t bytes = 0;
    for (const auto& entry : fs::directory_iterator(folder)) {
      const auto type = entry.symlink_status().type();
      if (type == fs::file_type::regular) bytes += entry.file_size();
      if (type == fs::file_type::directory && entry.path().extension() != ".app") bytes += sizeOf(entry.path());
    }
    return bytes;
  }

  const Scanner::Request& request_;
  TidraScanExclusionFilter barred_;
};

TEST(WalkReference, AnyNumberOfWorkersFindsWhatAPlainRecursionFinds) {
  const TemporaryTree tree;
  const GeneratedTree generated(tree);
  auto request = requestFor(tree, testCatalog());
  request.exclusionFilter = {{tree.path("a-b/src"), tree.path("src/target")}, {"a b/obj", "*/a.b/a*"}};
  for (const bool filtered : {false, true}) {
    if (filtered) request.enabledEcosystems = {"npm", "java", "general"};
    const PlainWalk plain(request);
    EXPECT_GT(plain.entries, 1500U) << "the tree is too small to prove anything";
    EXPECT_GT(plain.findings.size(), 100U);
    for (const unsigned workers : {1U, 2U, 16U}) {
      request.workers = workers;
      const auto result = Scanner::scan(request);
      EXPECT_EQ(linesOf(result.findings, tree), linesOf(plain.findings, tree)) << workers << " workers";
      EXPECT_EQ(tidra::plain(result.findings), plain.findings) << workers << " workers";
      EXPECT_EQ(result.entriesVisited, plain.entries) << workers << " workers";
    }
  }
}

}  // namespace
}  // namespace tidra
