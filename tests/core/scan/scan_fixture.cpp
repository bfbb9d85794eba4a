#include "tests/core/scan/scan_fixture.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

#include "core/base/text.h"
#include "core/platform/path_text.h"

namespace tidra {
namespace {

std::string relativeTo(const TemporaryTree& tree, const std::string& path) {
  return path == tree.root() ? "." : path.substr(tree.root().size() + 1);
}

/// Returns what the generator of a build tree writes into this file, for "@CMAKE:SOURCE" and "@MESON:SOURCE", with a
/// source below the root; "@CMAKE:SOURCE:FOLDER" names another tree than the file's. Other texts stay.
std::string recordOf(const TemporaryTree& tree, const std::string& file, const std::string& text) {
  const bool isOfMeson = text.starts_with("@MESON:");
  if (!isOfMeson && !text.starts_with("@CMAKE:")) return text;
  const auto words = splitNonEmpty(text, ':');
  const std::string own = parentPath(isOfMeson ? parentPath(file) : file);
  const std::string source = standardizedPath(tree.path(std::string(words.at(1))));
  const std::string folder = tree.path(words.size() > 2 ? std::string(words[2]) : own.substr(own.starts_with('/')));
  if (isOfMeson) return fmt::format(R"({{"directories": {{"source": "{}", "build": "{}"}}}})", source, folder);
  return fmt::format("# CMake\nCMAKE_CACHEFILE_DIR:INTERNAL={}\nCMAKE_HOME_DIRECTORY:INTERNAL={}\n", folder, source);
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
      const std::string file = entry.substr(0, equals);
      tree.writeFile(file, recordOf(tree, file, entry.substr(std::min(equals + 1, entry.size()))));
    }
  }
}

}  // namespace tidra
