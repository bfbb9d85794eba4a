#include "core/scan/stores.h"

#include <algorithm>

#include "core/base/text.h"
#include "core/platform/files.h"
#include "core/platform/held_folder.h"
#include "core/platform/path_text.h"
#include "core/scan/folder_node.h"

namespace tidra {
namespace {

/// `folder` returns the path of the parent folder.
template <class Folder>
std::optional<StoreKind> kindByName(std::string_view name, Folder folder) {
  constexpr std::string_view numbered = ".Trash-";
  if (name == StoreNames::volumeQuarantine) return StoreKind::quarantine;
  if (name == ".Trash" || name == ".Trashes") return StoreKind::trash;
  if (name.starts_with(numbered) && name.size() > numbered.size()) {
    name.remove_prefix(numbered.size());
    const bool isNumber = name.find_first_not_of("0123456789") == std::string_view::npos;
    return isNumber ? std::optional(StoreKind::trash) : std::nullopt;
  }
  if (name != "Trash") return std::nullopt;
  const std::string above = folder();
  return above.ends_with("/.local/share") ? std::optional(StoreKind::trash) : std::nullopt;
}

/// Whether a file identifies a store: a regular file, not planted by a stranger to protect files from removal.
bool isSign(int folder, const std::string& file) {
  const auto facts = entryFacts(folder, file.c_str());
  if (!facts || facts->type != EntryType::regularFile) return false;
  const auto holder = descriptorFacts(folder);
  return holder && isByDecider(*facts, *holder);
}

bool holdsInfoFiles(int trash) {
  const auto info = openSubdirectory(trash, "info");
  const auto infoFacts = info ? descriptorFacts(info->get()) : info.failure();
  const auto trashFacts = descriptorFacts(trash);
  if (!infoFacts || !trashFacts || !isByDecider(*infoFacts, *trashFacts)) return false;
  DirectoryReader reader;
  reader.start(info->get());
  for (DirectoryEntry entry; reader.next(entry);) {
    if (entry.name.ends_with(StoreNames::infoSuffix) && isSign(info->get(), std::string(entry.name))) return true;
  }
  return false;
}

bool isEntry(int folder, const std::string& name) { return static_cast<bool>(entryFacts(folder, name.c_str())); }

bool hasManifest(int folder, std::string_view name) {
  return isSign(folder, std::string(name) + std::string(StoreNames::manifestSuffix));
}

}  // namespace

std::string_view describedStore(StoreKind kind) { return kind == StoreKind::trash ? "a trash" : "a quarantine"; }

std::optional<StoreKind> StoreNames::kindBelow(std::string_view name, const FolderNode& parent) {
  return kindByName(name, [&] { return parent.path(); });
}

std::optional<StoreKind> StoreNames::kindOf(std::string_view path) {
  return kindByName(lastPathComponent(path), [&] { return parentPath(path); });
}

bool StoreNames::isWholeTrash(std::string_view path) {
  return lastPathComponent(path) == "files" && kindOf(parentPath(path)) == StoreKind::trash;
}

void StoreSigns::noteManifest(std::string_view name) {
  name.remove_suffix(StoreNames::manifestSuffix.size());
  if (!name.empty() && name != "." && name != "..") manifested_.emplace_back(name);
}

std::vector<std::string> StoreSigns::quarantined(int descriptor) const {
  std::vector<std::string> names;
  std::copy_if(manifested_.begin(), manifested_.end(), std::back_inserter(names),
               [&](const std::string& name) { return isEntry(descriptor, name) && hasManifest(descriptor, name); });
  return names;
}

std::optional<StoreKind> StoreSigns::kindOfSuspect(int descriptor) const {
  const auto isItem = [&](const std::string& name) {
    return isEntry(descriptor, name) && hasManifest(descriptor, name);
  };
  if (std::any_of(manifested_.begin(), manifested_.end(), isItem)) return StoreKind::quarantine;
  return hasFiles_ && hasInfo_ && holdsInfoFiles(descriptor) ? std::optional(StoreKind::trash) : std::nullopt;
}

StoreFinder::StoreFinder(const std::string& home, const std::vector<Store>& known) : homes_{home} {
  if (const auto real = realPath(home)) homes_.push_back(*real);
  for (const Store& store : known) {
    if (!store.path.starts_with('/') || holdsHome(store.path)) continue;
    known_.emplace(store.path, store.kind);
    if (const auto real = realPath(store.path); real && !holdsHome(*real)) known_.emplace(*real, store.kind);
  }
  for (const auto& [path, kind] : known_) longestKnown_ = std::max(longestKnown_, path.size());
}

bool StoreFinder::holdsHome(std::string_view folder) const {
  return std::any_of(homes_.begin(), homes_.end(), [&](const auto& home) { return isSameOrInside(home, folder); });
}

std::optional<StoreKind> StoreFinder::kindByPlace(std::string_view folder) const {
  if (folder.size() <= longestKnown_) {
    if (const auto known = known_.find(std::string(folder)); known != known_.end()) return known->second;
  }
  return kindByName(lastPathComponent(folder), [&] { return parentPath(folder); });
}

std::optional<StoreKind> StoreFinder::kindByListing(int folder) {
  const auto readable = openSubdirectory(folder, ".");
  if (!readable) return std::nullopt;
  StoreSigns signs;
  DirectoryReader reader;
  reader.start(readable->get());
  for (DirectoryEntry entry; reader.next(entry);) signs.note(entry);
  return signs.kind(readable->get());
}

// Walks down from "/" with one open folder; listings are cached by parent number and name.
std::optional<Store> StoreFinder::holding(const std::string& path) {
  Outcome<PathComponent> above = PathComponent{holdFolder("/").descriptor, {}, 0};
  std::size_t parent = 0;
  for (const std::string_view name : splitNonEmpty(path, '/')) {
    if (!above || !above->folder) return std::nullopt;  // nothing below is reachable either
    const auto folder =
        std::string_view(path).substr(0, static_cast<std::size_t>(name.data() + name.size() - path.data()));
    const auto found = [&](StoreKind kind) { return Store{std::string(folder), kind}; };
    if (hasManifest(above->folder.get(), name)) return found(StoreKind::quarantine);
    const bool mayBeStore = !holdsHome(folder);
    if (mayBeStore) {
      if (const auto kind = kindByPlace(folder)) return found(*kind);
    }
    above = openPathComponent(above->folder.get(), std::string(name));
    const auto [listed, isNew] = listed_.try_emplace({parent, std::string(name)});
    if (isNew) listed->second.number = listed_.size();
    if (mayBeStore && !listed->second.isRead && above && above->folder) {
      listed->second.kind = kindByListing(above->folder.get());
      listed->second.isRead = true;
    }
    if (mayBeStore && listed->second.kind) return found(*listed->second.kind);
    parent = listed->second.number;
  }
  return std::nullopt;
}

}  // namespace tidra
