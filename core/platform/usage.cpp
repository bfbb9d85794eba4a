#include "core/platform/usage.h"

#include <algorithm>

#include "core/platform/path_text.h"

namespace tidra {
namespace {

std::optional<PlaceUse> firstInside(const std::vector<PlaceUse>& uses, const std::string& folder) {
  const auto found =
      std::find_if(uses.begin(), uses.end(), [&](const PlaceUse& use) { return isSameOrInside(use.path, folder); });
  return found == uses.end() ? std::nullopt : std::optional(*found);
}

}  // namespace

std::optional<PlaceUse> UsageSnapshot::workerIn(const std::string& folder) const {
  return firstInside(workingFolders, folder);
}

std::optional<PlaceUse> UsageSnapshot::lockerIn(const std::string& folder) const {
  return firstInside(lockedFiles, folder);
}

}  // namespace tidra
