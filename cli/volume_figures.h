// The free space of the volumes that a removal touches, before and after it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "core/platform/mount_table.h"
#include "core/session/cleanup_session.h"

namespace tidra {

class VolumeFigures {
 public:
  /// Reads the space of the volumes of the candidates without a refusal. Tools' items are on volumes of their own.
  VolumeFigures(const std::vector<CleanupCandidate>& candidates, const std::vector<MountPoint>& mounts);

  /// Reads the space again. Returns "the volume has 40.1 GB free, before 38.9 GB", with a clause for each volume and
  /// its name if there are several, three at most; empty if nothing is known.
  std::string change() const;

  /// Whether removals may free less than the items occupy, by the types of the file systems.
  bool isUpperBound() const { return isUpperBound_; }

 private:
  struct Volume {
    std::string path;
    std::int64_t before = 0;
  };

  std::vector<Volume> volumes_;
  bool isUpperBound_ = false;
};

/// Whether removing findings may free less than they occupy, by the types of their file systems.
bool isUpperBound(const std::vector<FoundArtifact>& findings, const std::vector<MountPoint>& mounts);

}  // namespace tidra
