#include "tests/core/scan/scan_fixture.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

namespace tidra {
namespace {

std::string relativeTo(const TemporaryTree& tree, const std::string& path) {
  return path == tree.root() ? "." : path.substr(tree.root().size() + 1);
}

}  // namespace

RuleCatalog catalogOf(std::vector<ProjectArtifactRule> rules, std::vector<std::string> skipped) {
  RuleCatalog catalog;
  catalog.projectRules = std::move(rules);
  catalog.walkSkipByPlatform["all"] = std::move(skipped);
  return catalog;
}

ProjectArtifactRule plainRule(const std::string& folderName, const std::string& ecosystem) {
  ProjectArtifactRule rule;
  rule.id = rule.folderName = rule.label = folderName;
  rule.ecosystem = ecosystem;
  return rule;
}

Scanner::Request requestFor(const TemporaryTree& tree, const RuleCatalog& catalog) {
  return {.root = tree.root(), .catalog = &catalog, .resolver = {tree.root(), {}}};
}

std::vector<ScanArtifactFinding> plain(const std::vector<FoundArtifact>& findings) {
  std::vector<ScanArtifactFinding> plain;
  for (const FoundArtifact& found : findings) {
    ScanArtifactFinding& finding = plain.emplace_back(found.finding);
    finding.diskBytes = finding.freeableBytes = std::nullopt;  // these depend on the file system
    finding.difference = std::nullopt;
  }
  return plain;
}

std::vector<std::string> linesOf(const std::vector<ScanArtifactFinding>& findings, const TemporaryTree& tree) {
  std::vector<std::string> lines;
  std::transform(findings.begin(), findings.end(), std::back_inserter(lines), [&](const auto& finding) {
    return fmt::format("{} {} {} {} {}", relativeTo(tree, finding.path), finding.sizeBytes, finding.ecosystemTag,
                       finding.ruleID.value_or("-"), relativeTo(tree, finding.groupRoot.value_or("-")));
  });
  return lines;
}

std::vector<std::string> linesOf(const std::vector<FoundArtifact>& findings, const TemporaryTree& tree) {
  return linesOf(plain(findings), tree);
}

std::vector<std::string> pathsOf(const std::vector<FoundArtifact>& findings, const TemporaryTree& tree) {
  std::vector<std::string> paths;
  std::transform(findings.begin(), findings.end(), std::back_inserter(paths),
                 [&](const auto& found) { return relativeTo(tree, found.finding.path); });
  return paths;
}

std::vector<std::string> foundPaths(const TemporaryTree& tree, const RuleCatalog& catalog) {
  return pathsOf(Scanner::scan(requestFor(tree, catalog)).findings, tree);
}

void makeEntries(const TemporaryTree& tree, const std::vector<std::string>& entries) {
  for (const std::string& entry : entries) {
    if (const auto arrow = entry.find("->"); arrow != std::string::npos) {
      tree.symlink(entry.substr(0, arrow), entry.substr(arrow + 2));
    } else if (entry.ends_with('/')) {
      tree.makeFolder(entry.substr(0, entry.size() - 1));
    } else {
      const auto equals = std::min(entry.find('='), entry.size());
      tree.writeFile(entry.substr(0, equals), std::string_view(entry).substr(std::min(equals + 1, entry.size())));
    }
  }
}

}  // namespace tidra
