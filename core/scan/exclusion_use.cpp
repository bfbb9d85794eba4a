#include "core/scan/exclusion_use.h"

#include "core/platform/path_text.h"

namespace tidra {

void ExclusionUse::add(std::string text, TidraScanExclusionFilter filter) {
  Watched& watched = watched_.emplace_back();
  watched.text = std::move(text);
  watched.filter = withLinksResolved(std::move(filter));
  ++pending_;
}

void ExclusionUse::note(const std::string& path) {
  for (Watched& watched : watched_) {
    for (std::string folder = path; !watched.isUsed; folder = parentPath(folder)) {
      if (watched.filter.isExcluded(folder) && !watched.isUsed.exchange(true)) --pending_;
      if (folder == "/") break;
    }
  }
}

std::vector<std::string> ExclusionUse::idle() const {
  std::vector<std::string> texts;
  for (const Watched& watched : watched_) {
    if (!watched.isUsed) texts.push_back(watched.text);
  }
  return texts;
}

}  // namespace tidra
