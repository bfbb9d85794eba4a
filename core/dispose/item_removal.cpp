#include "core/dispose/item_removal.h"

#include <fmt/format.h>

#include <random>

#include "core/base/text.h"
#include "core/dispose/disposal_error.h"
#include "core/dispose/tree_removal.h"
#include "core/model/removal_leftover.h"
#include "core/platform/folder_entries.h"
#include "core/platform/path_text.h"

namespace tidra {
namespace {

std::uint64_t randomNumber() {
  std::random_device source;
  return (std::uint64_t{source()} << 32U) | source();
}

/// Gives the folder its hidden name. Where a folder cannot be renamed, as in the lower layers of an overlay, it keeps
/// its own and is emptied in its place.
std::string hide(const HeldEntry& entry) {
  if (RemovalLeftover::is(entry.name)) return entry.name;
  const int folder = entry.folder.descriptor.get();
  for (;;) {
    const std::string hidden = RemovalLeftover::name(randomNumber());
    const auto reason = moveEntry(folder, entry.name, folder, hidden);
    if (reason == std::errc::file_exists) continue;
    if (reason == std::errc::cross_device_link) return entry.name;
    if (reason) throw DisposalError(reason);
    const auto moved = entryFacts(folder, hidden.c_str());
    if (moved && moved->identity == entry.facts.identity) return hidden;
    moveEntry(folder, hidden, folder, entry.name);
    throw DisposalError("was replaced by something else in this moment, which stays in its place");
  }
}

std::string sentence(const TreeRemoval::Result& result, const std::string& place) {
  const std::string left = fmt::format("what is left lies in {}", escapedForTerminal(place));
  if (result.cancelled) return fmt::format("was interrupted; {} and the next run finishes it", left);
  const std::string obstacle =
      result.obstaclePath.empty() ? "it" : fmt::format("{} in it", escapedForTerminal(result.obstaclePath));
  if (result.meetsOtherVolume) {
    return fmt::format("{} is a mounted file system, which is left alone; {}", obstacle, left);
  }
  if (result.obstacle == std::errc::directory_not_empty) {
    return fmt::format("{} is being filled again by another program; {}", obstacle, left);
  }
  return fmt::format("{} could not be removed: {}; {}", obstacle, result.obstacle.message(), left);
}

}  // namespace

void ItemRemoval::run(const HeldEntry& entry, const Options& options) {
  const int folder = entry.folder.descriptor.get();
  if (entry.facts.type != EntryType::directory) {
    if (const auto reason = removeFileEntry(folder, entry.name.c_str())) throw DisposalError(reason);
    return;
  }
  const std::string name = hide(entry);
  const auto result = TreeRemoval::run(folder, name, entry.facts.identity,
                                       {.workers = options.workers, .shouldCancel = options.shouldCancel});
  if (!result.complete) throw DisposalError(sentence(result, joinedPath(entry.folder.path, name)));
}

}  // namespace tidra
