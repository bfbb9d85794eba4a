#include <algorithm>

#include "core/dispose/trash_disposer.h"
#include "core/platform/path_text.h"

namespace tidra {

TrashDisposer::TrashDisposer(const TidraPathResolver& resolver, const std::vector<MountPoint>& mounts)
    : freedesktop_(resolver, mounts) {}

void TrashDisposer::check(const HeldEntry& entry) const { freedesktop_.check(entry); }

std::string TrashDisposer::trash(const HeldEntry& entry, const std::string& originalPath, TimePoint date) {
  return freedesktop_.trash(entry, originalPath, date);
}

TrashDisposer::Emptied TrashDisposer::emptyTrash(TimePoint now, bool includesUnlisted) {
  Emptied emptied;
  auto entries = freedesktop_.list(now, emptied.notes);
  if (!includesUnlisted) {
    const auto unlisted =
        std::stable_partition(entries.begin(), entries.end(), [](const auto& entry) { return !entry.isUnlisted(); });
    emptied.unlisted.assign(unlisted, entries.end());
    entries.erase(unlisted, entries.end());
  }
  emptied.failures = FreedesktopTrash::remove(entries).failures;
  return emptied;
}

std::string TrashDisposer::folder(const TidraPathResolver& resolver) {
  return FreedesktopTrash(resolver, {}).homeTrash();
}

}  // namespace tidra
