// What the tests of the walk share: small catalogs, requests, and findings as short lines that can be compared at a
// glance.
#pragma once

#include <string>
#include <vector>

#include "core/scan/artifact_scanner.h"
#include "tests/support/temporary_tree.h"
#include "tests/support/without_privileges.h"

namespace tidra {

using Scanner = FilesystemArtifactScanner;

/// A catalog of these rules that skips these folders on every platform.
RuleCatalog catalogOf(std::vector<ProjectArtifactRule> rules, std::vector<std::string> skipped = {});

/// A rule with its folder's name as id, without markers.
ProjectArtifactRule plainRule(const std::string& folderName, const std::string& ecosystem = "general");

/// A scan of a whole tree whose home folder is the tree's root. The catalog must outlive the request.
Scanner::Request requestFor(const TemporaryTree& tree, const RuleCatalog& catalog);

/// One line per finding: path, bytes, ecosystem, rule and group root, both paths relative to the tree ("." is its
/// root).
std::vector<std::string> linesOf(const std::vector<ScanArtifactFinding>& findings, const TemporaryTree& tree);

/// Only the paths, relative to the tree.
std::vector<std::string> pathsOf(const std::vector<ScanArtifactFinding>& findings, const TemporaryTree& tree);

/// The paths that a scan of the whole tree finds.
std::vector<std::string> foundPaths(const TemporaryTree& tree, const RuleCatalog& catalog);

/// Makes entries: "folder/", "file=text", "link->target". Parents are made on the way.
void makeEntries(const TemporaryTree& tree, const std::vector<std::string>& entries);

}  // namespace tidra
