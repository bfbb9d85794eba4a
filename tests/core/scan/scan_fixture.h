// Shared by the tests of the walk: small catalogs, requests, and findings as short lines.
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

/// A rule without markers; its id is its folder's name.
ProjectArtifactRule plainRule(const std::string& folderName, const std::string& ecosystem = "general");

/// A scan of the whole tree with its root as home folder. The catalog must outlive the request.
Scanner::Request requestFor(const TemporaryTree& tree, const RuleCatalog& catalog);

/// Without what else is known about them.
std::vector<ScanArtifactFinding> plain(const std::vector<FoundArtifact>& findings);

/// A line per finding: path, bytes, ecosystem, rule and group root. Paths are relative to the tree; "." is its root.
std::vector<std::string> linesOf(const std::vector<ScanArtifactFinding>& findings, const TemporaryTree& tree);
std::vector<std::string> linesOf(const std::vector<FoundArtifact>& findings, const TemporaryTree& tree);

/// Only the paths, relative to the tree.
std::vector<std::string> pathsOf(const std::vector<FoundArtifact>& findings, const TemporaryTree& tree);

/// The paths found by a scan of the whole tree.
std::vector<std::string> foundPaths(const TemporaryTree& tree, const RuleCatalog& catalog);

/// Creates entries, parents included: "folder/", "file=text", "link->target".
void makeEntries(const TemporaryTree& tree, const std::vector<std::string>& entries);

}  // namespace tidra
