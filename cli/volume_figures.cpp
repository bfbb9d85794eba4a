#include "cli/volume_figures.h"

#include <fmt/format.h>

#include <algorithm>

#include "cli/terminal.h"
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

VolumeFigures::VolumeFigures(const std::vector<CleanupCandidate>& candidates, const std::vector<MountPoint>& mounts) {
  for (const CleanupCandidate& candidate : candidates) {
    if (candidate.refusal || isToolBackedTarget(candidate.item.path)) continue;
    const MountPoint* mount = candidate.found != nullptr ? mountOf(*candidate.found, mounts)
                                                         : mountHolding(mounts, realPathOrSame(candidate.item.path));
    if (mount == nullptr) continue;
    isUpperBound_ = isUpperBound_ || (candidate.freeableBytes() > 0 && mayFreeLess(mount->fileSystem));
    const auto isIt = [&](const Volume& volume) { return volume.path == mount->path; };
    if (std::any_of(volumes_.begin(), volumes_.end(), isIt)) continue;
    if (const auto space = TidraVolumeSpaceReader::read(mount->path)) {
      volumes_.push_back({mount->path, space->availableBytes});
    }
  }
}

std::string VolumeFigures::change() const {
  constexpr std::size_t most = 3;
  std::vector<std::string> clauses;
  for (const Volume& volume : volumes_) {
    const auto space = TidraVolumeSpaceReader::read(volume.path);
    if (!space || clauses.size() == most) continue;
    clauses.push_back(fmt::format("{} has {} free, before {}", volumes_.size() == 1 ? "the volume" : shown(volume.path),
                                  ByteFormatting::readable(space->availableBytes),
                                  ByteFormatting::readable(volume.before)));
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
