#include "core/platform/held_folder.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <optional>
#include <vector>

#include "core/base/text.h"
#include "core/platform/folder_entries.h"
#include "core/platform/host.h"
#include "core/platform/path_text.h"

namespace tidra {
namespace {

constexpr int mostLinks = 40;  // the limit of the Linux kernel

/// Walks down a path. `ahead_` holds the remaining components in reverse, so that a link's target can be pushed in
/// front.
class Descent {
 public:
  Descent(std::string_view path, std::optional<unsigned> makeWith) : makeWith_(makeWith) {
    push(path);
    restart();
  }

  HeldFolder run() {
    while (!ahead_.empty()) {
      const std::string name = std::move(ahead_.back());
      ahead_.pop_back();
      if (name == ".") continue;
      name == ".." ? climb() : enter(name);
    }
    return std::move(place_);
  }

 private:
  void push(std::string_view path) {
    const auto pieces = splitNonEmpty(path, '/');
    ahead_.insert(ahead_.end(), pieces.rbegin(), pieces.rend());
  }

  void restart() {
    auto root = openPathComponent(AT_FDCWD, "/");
    if (!root) throw std::system_error(root.failure());
    place_ = {std::move(root->folder), "/"};
  }

  /// ".." comes only from links of the running user or root: requireWellFormed() refuses it in the path itself.
  void climb() {
    auto parent = openPathComponent(place_.descriptor.get(), "..");
    if (!parent) throw std::system_error(parent.failure());
    place_ = {std::move(parent->folder), parentPath(place_.path)};
  }

  void enter(const std::string& name) {
    auto component = openPathComponent(place_.descriptor.get(), name);
    if (makeWith_ && component.failure() == std::errc::no_such_file_or_directory) {
      const auto reason = makeFolderEntry(place_.descriptor.get(), name.c_str(), *makeWith_);
      if (reason && reason != std::errc::file_exists) throw std::system_error(reason);
      component = openPathComponent(place_.descriptor.get(), name);
    }
    if (!component) throw std::system_error(component.failure());
    if (component->folder) {
      place_.descriptor = std::move(component->folder);
      // Appends in place: copying at each level would be quadratic in the depth.
      if (!place_.path.ends_with('/')) place_.path += '/';
      place_.path += name;
      return;
    }
    const std::string shown = escapedForTerminal(joinedPath(place_.path, name));
    if (component->linkOwner != 0 && component->linkOwner != runningUser()) {
      throw UnsafePathError(fmt::format("{} is a link that belongs to another user, so it is not followed", shown));
    }
    if (++links_ > mostLinks) throw std::system_error(std::make_error_code(std::errc::too_many_symbolic_link_levels));
    push(component->linkTarget);
    if (component->linkTarget.starts_with('/')) restart();
  }

  std::optional<unsigned> makeWith_;
  std::vector<std::string> ahead_;
  HeldFolder place_;
  int links_ = 0;
};

void requireWellFormed(std::string_view path) {
  const std::string shown = escapedForTerminal(path);
  if (!path.starts_with('/')) throw UnsafePathError(fmt::format("'{}' is not an absolute path", shown));
  if (path.find('\0') != std::string_view::npos) throw UnsafePathError(fmt::format("'{}' contains a NUL byte", shown));
  const auto pieces = split(path, '/');
  if (std::find(pieces.begin(), pieces.end(), "..") != pieces.end()) {
    throw UnsafePathError(fmt::format("'{}' contains '..'", shown));
  }
}

bool isWritableByEverybody(const EntryFacts& entry) {
  constexpr std::uint32_t everybodyMayWrite = 0002;
  return (entry.permissions & everybodyMayWrite) != 0;
}

/// In a sticky folder of another user only one's own entries can be removed.
bool isSticky(const EntryFacts& folder) {
  constexpr std::uint32_t onlyOwnEntries = 01000;
  return (folder.permissions & onlyOwnEntries) != 0;
}

}  // namespace

std::string HeldEntry::path() const { return joinedPath(folder.path, name); }

HeldFolder holdFolder(std::string_view path) {
  requireWellFormed(path);
  return Descent(path, std::nullopt).run();
}

HeldFolder holdOrMakeFolder(std::string_view path, unsigned permissions) {
  requireWellFormed(path);
  return Descent(path, permissions).run();
}

HeldEntry holdEntry(std::string_view path) {
  requireWellFormed(path);
  const std::string whole = standardizedPath(path);
  HeldEntry entry;
  entry.name = lastPathComponent(whole);
  if (entry.name.empty()) throw UnsafePathError("'/' is the root of the file system; nothing moves or removes it");
  entry.folder = holdFolder(parentPath(whole));
  const auto facts = entryFacts(entry.folder.descriptor.get(), entry.name.c_str());
  if (!facts) throw std::system_error(facts.failure());
  entry.facts = *facts;
  return entry;
}

bool isBeyondOthersReach(std::string_view folder) {
  std::string path = standardizedPath(folder);
  for (bool isFolderItself = true;; isFolderItself = false) {
    const auto facts = entryFacts(AT_FDCWD, path.c_str());
    if (!facts || facts->type != EntryType::directory || (facts->owner != 0 && facts->owner != runningUser()))
      return false;
    const bool mayBeShared = isFolderItself || !isSticky(*facts);
    if (mayBeShared && isWritableByOthers(path, *facts)) return false;
    if (path == "/") return true;
    path = parentPath(path);
  }
}

bool isWritableByOthers(const std::string& path, const EntryFacts& entry) {
  constexpr std::uint32_t groupMayWrite = 0020;
  if (isWritableByEverybody(entry)) return true;
  if ((entry.permissions & groupMayWrite) == 0) return false;
  return !TidraHost::isOwnGroup(entry.group) || mayHaveAccessList(path);
}

bool holdsEntriesThatStay(int folder) {
  const auto facts = descriptorFacts(folder);
  const std::uint32_t user = runningUser();
  if (!facts || facts->owner == user || user == 0) return false;
  const bool isClosed = isForbidden(reasonEntriesStay(folder));
  if (!isClosed && !isSticky(*facts)) return false;
  const auto readable = openSubdirectory(folder, ".");
  if (!readable) return isClosed;
  DirectoryReader reader;
  reader.start(readable->get());
  const auto stays = [&](const DirectoryEntry& entry) {
    const auto inside = isClosed ? facts : entryFacts(folder, entry.name.data());
    return inside && inside->owner != user;
  };
  for (DirectoryEntry entry; reader.next(entry);) {
    if (stays(entry)) return true;
  }
  return isClosed && reader.failure();
}

std::uint32_t runningUser() { return ::geteuid(); }

bool isByDecider(const EntryFacts& entry, const EntryFacts& folder) {
  return entry.owner == 0 || entry.owner == runningUser() || entry.owner == folder.owner;
}

bool isPlanted(const EntryFacts& entry, const EntryFacts& folder) {
  return isWritableByEverybody(folder) && !isByDecider(entry, folder);
}

}  // namespace tidra
