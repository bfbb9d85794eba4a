// Compiled on Linux by scripts/check-macos; not yet run on a Mac.
#include <fmt/format.h>

#include "core/dispose/disposal_error.h"
#include "core/dispose/trash_disposer.h"
#include "core/platform/desktop_trash_macos.h"
#include "core/platform/directory_reader.h"
#include "core/platform/path_text.h"
#include "core/platform/process_runner.h"

namespace tidra {

TrashDisposer::TrashDisposer(const TidraPathResolver& resolver, const std::vector<MountPoint>& mounts)
    : freedesktop_(resolver, mounts) {}

void TrashDisposer::check(const HeldEntry&) const {}

std::string TrashDisposer::trash(const HeldEntry& entry, const std::string&, TimePoint) {
  // The system call takes a path, not a descriptor: compare the identity afterwards (TOCTOU).
  const auto landed = moveToDesktopTrash(entry.path());
  if (!landed) throw std::system_error(landed.failure());
  const auto facts = pathFacts(*landed);
  if (!facts || facts->identity != entry.facts.identity) {
    throw DisposalError("was replaced by something else just now, which is in the trash now");
  }
  return *landed;
}

TrashDisposer::Emptied TrashDisposer::emptyTrash(TimePoint, bool,
                                                 const std::function<bool(const FreedesktopTrash::Entry&)>&,
                                                 const std::function<bool()>& shouldCancel,
                                                 const FreedesktopTrash::Listener&) {
  constexpr double timeoutSeconds = 60;
  const auto answer = ProcessRunner::run({.executablePath = "/usr/bin/osascript",
                                          .arguments = {"-e", "tell application \"Finder\" to empty trash"},
                                          .timeoutSeconds = timeoutSeconds,
                                          .shouldCancel = shouldCancel});
  Emptied emptied;
  if (!answer || answer->status != 0) {
    const std::string reason = answer ? answer->stderr_ : "it did not answer in time";
    emptied.purged.failures.push_back({"~/.Trash", fmt::format("the Finder could not empty it: {}", reason)});
  }
  return emptied;
}

std::string TrashDisposer::folder(const TidraPathResolver& resolver) { return joinedPath(resolver.home, ".Trash"); }

}  // namespace tidra
