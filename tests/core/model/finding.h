// A finding with only the fields that matter.
#pragma once

#include "core/model/scan_artifact_finding.h"

namespace tidra {

inline ScanArtifactFinding finding(std::string path, std::uint64_t bytes, std::string tag = "npm",
                                   std::optional<std::string> group = std::nullopt) {
  ScanArtifactFinding made;
  made.path = std::move(path);
  made.label = "label";
  made.sizeBytes = bytes;
  made.ecosystemTag = std::move(tag);
  made.groupRoot = std::move(group);
  return made;
}

}  // namespace tidra
