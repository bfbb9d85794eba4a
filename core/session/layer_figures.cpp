#include "core/session/layer_figures.h"

#include <utility>

#include "core/platform/lower_layer.h"

namespace tidra {

void settleLowerLayers(std::vector<FoundArtifact>& findings, const std::vector<MountPoint>& mounts) {
  for (FoundArtifact& found : findings) {
    if (!found.identity || !liesInLowerLayer(found.place, *found.identity, mounts)) continue;
    StorageUse use;
    use.diskBytes = found.finding.diskBytes.value_or(0);
    use.difference = SizeDifference::imageLayer;
    found.setUse(std::move(use));
  }
}

}  // namespace tidra
