#include "core/dispose/trash_disposer.h"
#include "core/platform/path_text.h"

namespace tidra {

TrashDisposer::TrashDisposer(const TidraPathResolver& resolver, const std::vector<MountPoint>& mounts)
    : freedesktop_(resolver, mounts) {}

void TrashDisposer::check(const HeldEntry& entry) const { freedesktop_.check(entry); }

std::string TrashDisposer::trash(const HeldEntry& entry, const std::string& originalPath, TimePoint date) {
  return freedesktop_.trash(entry, originalPath, date);
}

std::vector<TidraDeletionFailure> TrashDisposer::emptyTrash(TimePoint now) {
  return freedesktop_.purgeBefore(now + std::chrono::seconds{1}).failures;
}

std::string TrashDisposer::folder(const TidraPathResolver& resolver) {
  return FreedesktopTrash(resolver, {}).homeTrash();
}

}  // namespace tidra
