#include "core/dispose/volumes.h"

#include <fmt/format.h>

#include <algorithm>
#include <cassert>
#include <cerrno>
#include <set>

#include "core/base/text.h"
#include "core/dispose/disposal_error.h"
#include "core/platform/directory_reader.h"
#include "core/platform/file_system_traits.h"
#include "core/platform/files.h"
#include "core/platform/folder_entries.h"
#include "core/platform/lower_layer.h"
#include "core/platform/path_text.h"

namespace tidra {
namespace {

Outcome<EntryFacts> factsOf(const HeldFolder& folder) { return descriptorFacts(folder.descriptor.get()); }

constexpr std::uint32_t openToOthers = 0077;

struct VolumeTop {
  std::string path;
  EntryFacts facts;
};

/// Throws std::system_error.
VolumeTop volumeTop(const HeldFolder& folder) {
  auto facts = factsOf(folder);
  if (!facts) throw std::system_error(facts.failure());
  std::string_view path = folder.path;
  FileDescriptor held;
  for (int at = folder.descriptor.get(); path != "/"; at = held.get()) {
    auto above = openPathComponent(at, "..");
    const auto next = above ? descriptorFacts(above->folder.get()) : above.failure();
    if (!next || !next->sharesVolumeWith(*facts)) break;
    facts = next;
    held = std::move(above->folder);
    path = path.substr(0, std::max<std::size_t>(path.rfind('/'), 1));
  }
  return {std::string(path), *facts};
}

/// Sets the permissions back if chmod has an effect.
bool ignoresChmod(const HeldFolder& folder, const EntryFacts& facts) {
  const int descriptor = folder.descriptor.get();
  constexpr unsigned closed = 0700;
  static_cast<void>(setPermissions(descriptor, closed));
  const auto now = factsOf(folder);
  if (now && now->permissions == facts.permissions) return true;
  static_cast<void>(setPermissions(descriptor, facts.permissions));
  return false;
}

/// How to find out that a file system has no permissions: by looking only, or by chmod, which proves it.
enum class Proof { looks, chmod };

/// Whether a store is open to others only because everything on its volume is, and cannot be closed. Whoever could
/// change the store can then change what goes into it, too.
bool isAsOpenAsVolume(const HeldFolder& store, const EntryFacts& facts, Proof proof) {
  if (!mayLackPermissions(store.descriptor.get())) return false;
  const EntryFacts top = volumeTop(store).facts;
  if (top.owner != facts.owner || top.permissions != facts.permissions) return false;
  return proof == Proof::looks || ignoresChmod(store, facts);
}

/// Of a store on a volume that may show one owner for everything.
DisposalError ofVolumesOwner(const std::string& path, std::string_view verb) {
  return DisposalError(
      fmt::format("{} {} to another user, perhaps like everything on its volume, so it is not used; {}",
                  escapedForTerminal(path), verb, deleteInstead));
}

/// Verifies a store's type, owner and permissions, and opens it.
StoreFolder checked(const HeldFolder& parent, const std::string& name, bool othersMayRead, const std::string& what,
                    Proof proof) {
  const std::string path = joinedPath(parent.path, name);
  auto component = openPathComponent(parent.descriptor.get(), name);
  if (!component && component.failure() != std::errc::not_a_directory) throw std::system_error(component.failure());
  if (component && !component->folder) {
    throw DisposalError(fmt::format("{} {} is a link, which is not followed there; use the folder that it leads to",
                                    what, escapedForTerminal(path)));
  }
  if (!component) {
    throw DisposalError(
        fmt::format("{} {} is not a folder; move it away or choose another place", what, escapedForTerminal(path)));
  }
  StoreFolder store{.folder = {std::move(component->folder), path}};
  const auto facts = factsOf(store.folder);
  if (!facts) throw std::system_error(facts.failure());
  if (facts->owner != runningUser()) {
    if (mayLackPermissions(store.descriptor())) throw ofVolumesOwner(path, "belongs");
    throw DisposalError(
        fmt::format("{} {} belongs to another user, so it is not used", what, escapedForTerminal(path)));
  }
  constexpr std::uint32_t writableByOthers = 0022;
  const bool isOpen = (facts->permissions & (othersMayRead ? writableByOthers : openToOthers)) != 0;
  if (isOpen && !isAsOpenAsVolume(store.folder, *facts, proof)) {
    throw DisposalError(
        fmt::format("{} {} is open to other users; run chmod 700 on it", what, escapedForTerminal(path)));
  }
  return store;
}

std::string volumeName(const HeldFolder& folder) {
  try {
    return Volumes::topOf(folder);
  } catch (const std::system_error&) {
    return folder.path;
  }
}

DisposalError otherVolume(const HeldEntry& entry, const std::string& storePath, const HeldFolder& onItsVolume,
                          std::string_view wayOut) {
  return DisposalError(
      fmt::format("it lies on the volume at {} but {} on the volume at {}, and Tidra does not copy between "
                  "volumes; {}",
                  escapedForTerminal(volumeName(entry.folder)), escapedForTerminal(storePath),
                  escapedForTerminal(volumeName(onItsVolume)), wayOut));
}

DisposalError inLowerLayer(const HeldFolder& folder, std::string_view wayOut) {
  return DisposalError(
      fmt::format("it lies in a lower layer of the overlay at {}, such as a container's image, wholly or in part, and "
                  "such a folder cannot be moved, only copied; {}",
                  escapedForTerminal(volumeName(folder)), wayOut));
}

/// EXDEV within one volume.
DisposalError notRenamable(const StoreFolder& store, std::string_view wayOut) {
  if (isOnOverlay(store.descriptor())) return inLowerLayer(store.folder, wayOut);
  return DisposalError(fmt::format(
      "its file system does not move it to {}, although that is on the same volume (a quota of a project, or "
      "a volume made of several); {}",
      escapedForTerminal(store.folder.path), wayOut));
}

/// Renaming a folder to another parent requires write permission on the folder itself (its ".." changes): adds it
/// temporarily.
[[nodiscard]] std::error_code moveOpeningUp(const HeldEntry& entry, const StoreFolder& store, const std::string& name) {
  const int from = entry.folder.descriptor.get();
  const auto reason = moveEntry(from, entry.name, store.descriptor(), name);
  constexpr std::uint32_t ownerMayWrite = 0200;
  const bool locked = reason == std::errc::permission_denied && entry.facts.type == EntryType::directory &&
                      entry.facts.owner == runningUser() && (entry.facts.permissions & ownerMayWrite) == 0;
  if (!locked) return reason;
  auto folder = openPathComponent(from, entry.name);
  if (!folder || !folder->folder) return reason;
  const int held = folder->folder.get();
  const auto facts = descriptorFacts(held);
  if (!facts || facts->identity != entry.facts.identity || grantOwnerAccess(held, "")) return reason;
  const auto again = moveEntry(from, entry.name, store.descriptor(), name);
  // Best effort: if this fails, the owner keeps one permission more than before.
  static_cast<void>(setPermissions(held, entry.facts.permissions));
  return again;
}

}  // namespace

bool Volumes::differ(const HeldFolder& folder, const std::string& path) {
  const auto here = factsOf(folder);
  const auto there = followedFacts(path);
  return !here || !there || !here->sharesVolumeWith(*there);
}

std::string Volumes::topOf(const HeldFolder& folder) { return volumeTop(folder).path; }

std::vector<std::string> Volumes::ownFoldersNamed(std::string_view name, const std::vector<MountPoint>& mounts) {
  std::set<std::string> tops{"/"};
  for (const MountPoint& mount : mounts) {
    if (!isPseudoFileSystem(mount.fileSystem) && mount.fileSystem != "autofs") tops.insert(mount.path);
  }
  std::vector<std::string> folders;
  for (const std::string& top : tops) {
    std::string path = joinedPath(top, name);
    const auto facts = pathFacts(path);
    if (facts && facts->type == EntryType::directory && facts->owner == runningUser()) {
      folders.push_back(std::move(path));
    }
  }
  return folders;
}

std::string storeMessage(const std::error_code& error) {
  const bool isFull =
      error == std::errc::no_space_on_device || error == std::error_code(EDQUOT, std::generic_category());
  return isFull ? fmt::format("{}; {}", error.message(), deleteInstead) : error.message();
}

StoreFolder StoreFolder::open(const HeldFolder& parent, const std::string& name, bool othersMayRead,
                              const std::string& what) {
  const auto made = makeFolderEntry(parent.descriptor.get(), name.c_str(), 0700);
  if (made && made != std::errc::file_exists) {
    throw DisposalError(fmt::format("{} {} cannot be made: {}", what, escapedForTerminal(joinedPath(parent.path, name)),
                                    storeMessage(made)));
  }
  try {
    StoreFolder store = checked(parent, name, othersMayRead, what, Proof::chmod);
    const auto facts = factsOf(store.folder);
    store.isNewAndOpen = !made && facts && (facts->permissions & openToOthers) != 0;
    return store;
  } catch (...) {
    if (!made) static_cast<void>(removeFolderEntry(parent.descriptor.get(), name.c_str()));
    throw;
  }
}

StoreFolder StoreFolder::open(const std::string& path, bool othersMayRead, const std::string& what) {
  const std::string whole = standardizedPath(path);
  const HeldFolder parent = holdOrMakeFolder(parentPath(whole), 0700);
  return open(parent, std::string(lastPathComponent(whole)), othersMayRead, what);
}

StoreFolder StoreFolder::openExisting(const std::string& path, bool othersMayRead, const std::string& what) {
  const std::string whole = standardizedPath(path);
  return checked(holdFolder(parentPath(whole)), std::string(lastPathComponent(whole)), othersMayRead, what,
                 Proof::looks);
}

std::string StoreFolder::pathOf(std::string_view name) const { return joinedPath(folder.path, name); }

std::vector<std::string> StoreFolder::sortedNames() const {
  const auto readable = openSubdirectory(descriptor(), ".");
  if (!readable) throw std::system_error(readable.failure());
  std::vector<std::string> names;
  DirectoryReader reader;
  reader.start(readable->get());
  for (DirectoryEntry entry; reader.next(entry);) names.emplace_back(entry.name);
  if (reader.failure()) throw std::system_error(reader.failure());
  std::sort(names.begin(), names.end());
  return names;
}

std::chrono::seconds retention(std::int64_t days) {
  constexpr std::int64_t most = 1'000'000;
  constexpr std::int64_t secondsPerDay = 86400;
  return std::chrono::seconds{std::clamp<std::int64_t>(days, 0, most) * secondsPerDay};
}

void requireStorable(const HeldEntry& entry, const std::string& storePath, const std::vector<MountPoint>& mounts) {
  assert(storePath.starts_with('/'));
  std::string existing = storePath;
  while (existing != "/" && !followedFacts(existing)) existing = parentPath(existing);
  if (Volumes::differ(entry.folder, existing)) throw otherVolume(entry, storePath, holdFolder(existing), deleteInstead);
  const bool mayLackOwners = existing != storePath && mayLackPermissions(entry.folder.descriptor.get());
  if (mayLackOwners && entry.facts.owner != runningUser()) throw ofVolumesOwner(storePath, "would belong");
  if (isKeptInPlace(entry, mounts)) throw inLowerLayer(entry.folder, deleteInstead);
}

void requireStoreUsable(const std::string& path, bool othersMayRead, const std::string& what) {
  const std::string whole = standardizedPath(path);
  if (whole == "/") throw DisposalError(fmt::format("{} cannot be / itself; choose another place", what));
  try {
    if (pathFacts(whole)) {
      const auto store = StoreFolder::openExisting(whole, othersMayRead, what);
      const auto reason = reasonEntriesStay(store.descriptor());
      if (reason)
        throw DisposalError(
            fmt::format("{} {} cannot be written to: {}", what, escapedForTerminal(whole), storeMessage(reason)));
      return;
    }
    std::string above = parentPath(whole);
    while (above != "/" && !pathFacts(above)) above = parentPath(above);
    if (const auto reason = reasonEntriesStay(holdFolder(above).descriptor.get())) throw std::system_error(reason);
  } catch (const std::system_error& error) {
    throw DisposalError(
        fmt::format("{} {} cannot be made: {}", what, escapedForTerminal(whole), storeMessage(error.code())));
  } catch (const UnsafePathError& error) {
    throw DisposalError(fmt::format("{} {} cannot be used: {}", what, escapedForTerminal(whole), error.what()));
  }
}

void requireChangeable(const HeldEntry& entry) {
  const int descriptor = entry.folder.descriptor.get();
  if (const auto reason = reasonEntriesStay(descriptor)) throw DisposalError(reason);
  constexpr std::uint32_t onlyOwnersMayRemove = 01000;
  const auto folder = descriptorFacts(descriptor);
  const std::uint32_t user = runningUser();
  if (!folder || user == 0 || (folder->permissions & onlyOwnersMayRemove) == 0) return;
  if (folder->owner != user && entry.facts.owner != user) {
    throw DisposalError(std::make_error_code(std::errc::operation_not_permitted));
  }
}

void requireEmptiable(const HeldEntry& entry) {
  if (entry.facts.type != EntryType::directory || entry.facts.owner == runningUser()) return;
  const auto folder = openSubdirectory(entry.folder.descriptor.get(), entry.name.c_str());
  if (folder ? !holdsEntriesThatStay(folder->get()) : !isForbidden(folder.failure())) return;
  throw DisposalError(fmt::format("belongs to {} and may not be emptied by you; run tidra as that user",
                                  entry.facts.owner == 0 ? "root" : "another user"));
}

std::error_code moveIntoStore(const HeldEntry& entry, const StoreFolder& store, const std::string& name,
                              std::string_view wayOut) {
  // Removing an artefact is no work on its project, whose folder's date may be the only date that it has.
  assert(namesAnEntry(name));
  const KeptFolderDate date(entry.folder.descriptor.get());
  const auto reason = moveOpeningUp(entry, store, name);
  if (reason == std::errc::file_exists) return reason;
  if (reason == std::errc::cross_device_link) {
    const auto from = factsOf(entry.folder);
    const auto to = factsOf(store.folder);
    if (from && to && from->sharesVolumeWith(*to)) throw notRenamable(store, wayOut);
    throw otherVolume(entry, store.folder.path, store.folder, wayOut);
  }
  if (reason) throw DisposalError(reason);
  const auto arrived = entryFacts(store.descriptor(), name.c_str());
  if (arrived && isStillSame(store.descriptor(), arrived->identity, entry.facts.identity)) return {};
  const auto back = moveEntry(store.descriptor(), name, entry.folder.descriptor.get(), entry.name);
  if (back) throw StrayedError(back, store.pathOf(name));
  throw DisposalError("was replaced by something else just now, which stays in its place");
}

bool namesAnEntry(std::string_view name) { return !name.empty() && name != "." && name != ".."; }

std::string shortenedName(std::string_view name, std::size_t reserved) {
  constexpr std::size_t longest = 255;
  assert(reserved < longest);
  if (name.size() + reserved <= longest) return std::string(name);
  const auto shortened = utf8Prefix(name, longest - reserved);
  return std::string(shortened.empty() ? name.substr(0, longest - reserved) : shortened);
}

}  // namespace tidra
