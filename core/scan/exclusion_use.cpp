#include "core/scan/exclusion_use.h"

#include <algorithm>

#include "core/platform/path_text.h"

namespace tidra {
namespace {

/// Whether a path or an ancestor is excluded.
bool excludes(const TidraScanExclusionFilter& filter, const std::string& path) {
  for (std::string folder = path;; folder = parentPath(folder)) {
    if (filter.isExcluded(folder)) return true;
    if (folder == "/") return false;
  }
}

}  // namespace

void ExclusionUse::add(std::string text, TidraScanExclusionFilter filter) {
  Watched& watched = watched_.emplace_back();
  watched.text = std::move(text);
  watched.filter = withLinksResolved(std::move(filter));
  ++pending_;
}

void ExclusionUse::note(const std::string& path) {
  for (Watched& watched : watched_) {
    if (!watched.isUsed && excludes(watched.filter, path) && !watched.isUsed.exchange(true)) --pending_;
  }
}

std::vector<std::string> ExclusionUse::idle() const {
  std::vector<std::string> texts;
  for (const Watched& watched : watched_) {
    if (!watched.isUsed && !isCovered(watched)) texts.push_back(watched.text);
  }
  return texts;
}

bool ExclusionUse::isCovered(const Watched& watched) const {
  const auto& paths = watched.filter.pathPrefixes;
  return std::any_of(paths.begin(), paths.end(), [this](const std::string& path) {
    return std::any_of(watched_.begin(), watched_.end(),
                       [&](const Watched& other) { return other.isUsed && excludes(other.filter, path); }) ||
           std::any_of(unwatched_.begin(), unwatched_.end(),
                       [&](const TidraScanExclusionFilter& other) { return excludes(other, path); });
  });
}

}  // namespace tidra
