// A finding with everything else that a scan knows about it. Reports, plans and the last scan are views of it.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/model/inside_notes.h"
#include "core/model/repositories_inside.h"
#include "core/model/scan_artifact_finding.h"
#include "core/model/storage_use.h"
#include "core/platform/directory_reader.h"

namespace tidra {

/// The category of findings of the walk. Findings outside projects have the key of their system-scan category.
inline constexpr std::string_view projectCategory = "project";

struct FoundArtifact {
  ScanArtifactFinding finding;
  std::string category = std::string(projectCategory);

  /// The path with symbolic links resolved, except a last component that is one. For a target of a tool, the folder
  /// that it stands for; empty without one.
  std::string place = {};

  /// Device and inode of what was measured at the path; absent for targets of tools.
  std::optional<FileIdentity> identity = {};

  RepositoriesInside repositories = {};
  InsideNotes inside = {};
  std::vector<SharedInode> shared = {};  // with hard links outside of the finding; by device and inode

  bool isOfProject() const { return finding.source == ArtifactSource::projectWalk; }
  /// Returns the project folder; nullopt outside projects.
  std::optional<std::string> project() const { return isOfProject() ? finding.groupRoot : std::nullopt; }

  /// Takes the figures of what was measured at its path.
  void setUse(StorageUse use) {
    finding.diskBytes = use.diskBytes;
    finding.freeableBytes = use.freeableBytes;
    finding.difference = use.difference;
    shared = std::move(use.shared);
  }

  bool operator==(const FoundArtifact&) const = default;
};

}  // namespace tidra
