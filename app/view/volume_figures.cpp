#include "app/view/volume_figures.h"

#include <fmt/format.h>

#include <algorithm>

#include "core/base/text.h"
#include "core/model/byte_formatting.h"
#include "core/platform/files.h"
#include "core/platform/volume_space.h"

namespace tidra {
namespace {

const MountPoint* mountOf(const FoundArtifact& found, const std::vector<MountPoint>& mounts) {
  if (isToolBackedTarget(found.finding.path) || found.place.empty()) return nullptr;
  return mountHolding(mounts, found.place);
}

}  // namespace

void VolumeFigures::add(const std::vector<CleanupCandidate>& candidates, const std::vector<MountPoint>& mounts) {
  for (const CleanupCandidate& candidate : candidates) {
    if (candidate.refusal || isToolBackedTarget(candidate.item.path)) continue;
    const MountPoint* mount = candidate.found != nullptr ? mountOf(*candidate.found, mounts)
                                                         : mountHolding(mounts, realPathOrSame(candidate.item.path));
    if (mount == nullptr) continue;
    isUpperBound_ = isUpperBound_ || (candidate.freeableBytes() > 0 && mayFreeLess(mount->fileSystem));
    const auto isIt = [&](const VolumeChange& volume) { return volume.path == mount->path; };
    if (std::any_of(volumes_.begin(), volumes_.end(), isIt)) continue;
    if (const auto space = TidraVolumeSpaceReader::read(mount->path)) {
      volumes_.push_back({mount->path, space->availableBytes, space->availableBytes});
    }
  }
}

std::vector<VolumeChange> VolumeFigures::changes() const {
  std::vector<VolumeChange> changes;
  for (const auto& [path, before, earlier] : volumes_) {
    if (const auto space = TidraVolumeSpaceReader::read(path)) changes.push_back({path, before, space->availableBytes});
  }
  return changes;
}

std::string describedChanges(const std::vector<VolumeChange>& changes) {
  constexpr std::size_t most = 3;
  std::vector<std::string> clauses;
  for (const auto& [path, before, after] : changes) {
    if (clauses.size() == most) break;
    clauses.push_back(fmt::format("{} has {} free, before {}",
                                  changes.size() == 1 ? "the volume" : escapedForTerminal(path),
                                  ByteFormatting::readable(after), ByteFormatting::readable(before)));
  }
  return joined(clauses, "; ");
}

bool isUpperBound(const std::vector<FoundArtifact>& findings, const std::vector<MountPoint>& mounts) {
  const bool exist =
      std::any_of(mounts.begin(), mounts.end(), [](const MountPoint& mount) { return mayFreeLess(mount.fileSystem); });
  return exist && std::any_of(findings.begin(), findings.end(), [&](const FoundArtifact& found) {
           const MountPoint* mount = mountOf(found, mounts);
           return mount != nullptr && found.finding.freeable() > 0 && mayFreeLess(mount->fileSystem);
         });
}

}  // namespace tidra
