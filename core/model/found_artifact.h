// A finding with everything else that a scan knows about it. Reports, plans and the last scan are views of it.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "core/model/inside_notes.h"
#include "core/model/repositories_inside.h"
#include "core/model/scan_artifact_finding.h"
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

  bool isOfProject() const { return finding.source == ArtifactSource::projectWalk; }
  /// Returns the project folder; nullopt outside projects.
  std::optional<std::string> project() const { return isOfProject() ? finding.groupRoot : std::nullopt; }

  bool operator==(const FoundArtifact&) const = default;
};

}  // namespace tidra
