// The free space of the volumes that a removal touches, before and after it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "core/platform/mount_table.h"
#include "core/session/cleanup_session.h"

namespace tidra {

/// Bytes free for the running user.
struct VolumeChange {
  std::string path;  // where it is mounted
  std::int64_t before = 0;
  std::int64_t after = 0;

  bool operator==(const VolumeChange&) const = default;
};

/// Returns "the volume has 40.1 GB free, before 38.9 GB", with a clause for each volume and its name if there are
/// several, three at most; empty for none.
std::string describedChanges(const std::vector<VolumeChange>& changes);

class VolumeFigures {
 public:
  VolumeFigures() = default;
  VolumeFigures(const std::vector<CleanupCandidate>& candidates, const std::vector<MountPoint>& mounts) {
    add(candidates, mounts);
  }

  /// Reads the space of the volumes of the candidates without a refusal, unless it is known. Tools' items are on
  /// volumes of their own.
  void add(const std::vector<CleanupCandidate>& candidates, const std::vector<MountPoint>& mounts);

  /// Reads the space again. Volumes that are gone are left out.
  std::vector<VolumeChange> changes() const;
  std::string change() const { return describedChanges(changes()); }

  /// Whether removals may free less than the items occupy, by the types of the file systems.
  bool isUpperBound() const { return isUpperBound_; }

 private:
  std::vector<VolumeChange> volumes_;  // before
  bool isUpperBound_ = false;
};

/// Whether removing findings may free less than they occupy, by the types of their file systems.
bool isUpperBound(const std::vector<FoundArtifact>& findings, const std::vector<MountPoint>& mounts);

}  // namespace tidra
