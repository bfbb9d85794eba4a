#include "core/dispose/way_back.h"

#include <fmt/format.h>

#include <algorithm>

#include "core/base/text.h"
#include "core/dispose/disposal_error.h"
#include "core/dispose/volumes.h"
#include "core/platform/directory_reader.h"
#include "core/platform/files.h"
#include "core/platform/folder_entries.h"
#include "core/platform/path_text.h"

namespace tidra {
namespace {

DisposalError placeTaken(const std::string& place) {
  return DisposalError(fmt::format("something else is at {} now; move it away first", escapedForTerminal(place)));
}

/// Guards against a folder that somebody else created at a path that was the user's: its owner would get the item.
void requireOwnFolder(const HeldFolder& folder) {
  const auto facts = descriptorFacts(folder.descriptor.get());
  if (!facts) throw std::system_error(facts.failure());
  const std::uint32_t user = runningUser();
  if (user == 0 || facts->owner == user || facts->owner == 0) return;
  throw DisposalError(
      fmt::format("the folder {} belongs to another user, so nothing is restored there; move it back "
                  "by hand if you trust that user",
                  escapedForTerminal(folder.path)));
}

/// A link made since the entry was moved leads elsewhere than its path did. The rename into the store has changed the
/// entry's ctime.
void requireNoNewLink(const std::string& place, const std::string& stored) {
  const auto moved = changedNanos(stored);
  if (!moved) return;
  for (std::string above = parentPath(place); above != "/"; above = parentPath(above)) {
    const auto facts = pathFacts(above);
    if (!facts || facts->type != EntryType::symbolicLink || facts->owner != runningUser()) continue;
    const auto changed = changedNanos(above);
    if (!changed || *changed <= *moved) continue;
    throw DisposalError(fmt::format(
        "{} has become a link to {} since, so nothing is restored there; make it a folder again, or move {} "
        "back by hand",
        escapedForTerminal(above), escapedForTerminal(linkTarget(above).value_or("another place")),
        escapedForTerminal(stored)));
  }
}

}  // namespace

std::string placeToRestore(const std::string& original, std::string_view record, const std::string& stored) {
  std::string place = standardizedPath(original.starts_with('/') ? original : "/");
  const auto pieces = split(original, '/');
  const bool bent = std::find(pieces.begin(), pieces.end(), "..") != pieces.end();
  if (place == "/" || bent || original.find('\0') != std::string::npos) {
    throw DisposalError(fmt::format("{} names '{}' as the original path, which is not a valid one", record,
                                    escapedForTerminal(original)));
  }
  requireNoNewLink(place, stored);
  if (pathFacts(place)) throw placeTaken(place);
  std::string above = parentPath(place);
  while (above != "/" && !pathFacts(above)) above = parentPath(above);
  requireOwnFolder(holdFolder(above));
  return place;
}

void moveBack(const HeldEntry& entry, const std::string& place) {
  const StoreFolder target{holdOrMakeFolder(parentPath(place), 0777)};
  requireOwnFolder(target.folder);
  const KeptFolderDate date(target.descriptor());
  if (moveIntoStore(entry, target, std::string(lastPathComponent(place)), "copy it back by hand")) {
    throw placeTaken(place);
  }
}

}  // namespace tidra
