#include "core/scan/stores.h"

#include <algorithm>

#include "core/platform/files.h"
#include "core/platform/path_text.h"
#include "core/scan/folder_node.h"

namespace tidra {
namespace {

/// `folder` is the path of the folder that holds the name.
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

bool holdsInfoFiles(int trash) {
  const auto info = openSubdirectory(trash, "info");
  if (!info) return false;
  DirectoryReader reader;
  reader.start(info->get());
  for (DirectoryEntry entry; reader.next(entry);) {
    if (entry.name.ends_with(StoreNames::infoSuffix)) return true;
  }
  return false;
}

bool isEntry(int folder, const std::string& name) { return static_cast<bool>(entryFacts(folder, name.c_str())); }

bool hasManifest(const std::string& path) {
  const auto manifest = pathFacts(path + std::string(StoreNames::manifestSuffix));
  return manifest && manifest->type == EntryType::regularFile;
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
               [&](const std::string& name) { return isEntry(descriptor, name); });
  return names;
}

std::optional<StoreKind> StoreSigns::kindOfSuspect(int descriptor) const {
  const auto isHere = [&](const std::string& name) { return isEntry(descriptor, name); };
  if (std::any_of(manifested_.begin(), manifested_.end(), isHere)) return StoreKind::quarantine;
  return hasFiles_ && hasInfo_ && holdsInfoFiles(descriptor) ? std::optional(StoreKind::trash) : std::nullopt;
}

StoreFinder::StoreFinder(const std::string& home, const std::vector<Store>& known) : homes_{home} {
  if (const auto real = realPath(home)) homes_.push_back(*real);
  for (const Store& store : known) {
    if (!store.path.starts_with('/') || holdsHome(store.path)) continue;
    known_.emplace(store.path, store.kind);
    if (const auto real = realPath(store.path); real && !holdsHome(*real)) known_.emplace(*real, store.kind);
  }
}

bool StoreFinder::holdsHome(std::string_view folder) const {
  return std::any_of(homes_.begin(), homes_.end(), [&](const auto& home) { return isSameOrInside(home, folder); });
}

std::optional<StoreKind> StoreFinder::kindOf(const std::string& folder) {
  if (const auto known = known_.find(folder); known != known_.end()) return known->second;
  if (const auto named = StoreNames::kindOf(folder)) return named;
  const auto listed = listed_.find(folder);
  if (listed != listed_.end()) return listed->second;
  auto& kind = listed_[folder];
  const auto opened = openDirectory(folder);
  if (!opened) return kind;
  StoreSigns signs;
  DirectoryReader reader;
  reader.start(opened->get());
  for (DirectoryEntry entry; reader.next(entry);) signs.note(entry);
  return kind = signs.kind(opened->get());
}

std::optional<Store> StoreFinder::holding(const std::string& path) {
  for (std::size_t end = 1; end <= path.size(); ++end) {
    if (end < path.size() && path[end] != '/') continue;
    const std::string folder = path.substr(0, end);
    if (hasManifest(folder)) return Store{folder, StoreKind::quarantine};
    if (holdsHome(folder)) continue;
    if (const auto kind = kindOf(folder)) return Store{folder, *kind};
  }
  return std::nullopt;
}

}  // namespace tidra
