#include "core/dispose/trash_disposer.h"

#include <chrono>

#include "core/platform/path_text.h"

namespace tidra {

TrashDisposer::TrashDisposer(const TidraPathResolver& resolver, const std::vector<MountPoint>& mounts)
    : freedesktop_(resolver, mounts) {}

void TrashDisposer::check(const HeldEntry& entry) const { freedesktop_.check(entry); }

std::string TrashDisposer::trash(const HeldEntry& entry, const std::string& originalPath, TimePoint date) {
  return freedesktop_.trash(entry, originalPath, date);
}

TrashDisposer::Emptied TrashDisposer::emptyTrash(TimePoint now, bool includesUndated,
                                                 const std::function<bool(const FreedesktopTrash::Entry&)>& isMeant,
                                                 const std::function<bool()>& shouldCancel,
                                                 const FreedesktopTrash::Listener& listener) {
  std::vector<std::string> notes;
  const auto untilNow = now + std::chrono::seconds{1};
  auto entries = freedesktop_.list(now, notes);
  const auto later = std::erase_if(entries, [&](const auto& entry) { return !isMeant(entry); });
  auto choice = FreedesktopTrash::choose(std::move(entries), untilNow, includesUndated);
  FreedesktopTrash::measure(choice.due);
  Emptied emptied{{}, std::move(choice.due), std::move(choice.undated), later};
  emptied.purged = FreedesktopTrash::remove(emptied.due, shouldCancel, listener);
  emptied.purged.notes = std::move(notes);
  return emptied;
}

std::string TrashDisposer::folder(const TidraPathResolver& resolver) {
  return FreedesktopTrash(resolver, {}).homeTrash();
}

}  // namespace tidra
