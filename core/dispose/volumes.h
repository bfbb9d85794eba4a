// Which volume a place lies on, as far as moving things without copying is concerned.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "core/platform/held_folder.h"
#include "core/platform/mount_table.h"
#include "core/platform/path_resolver.h"

namespace tidra {

struct Volumes {
  /// True when a held folder and the folder at `path` lie on different volumes; also when one of the two cannot be
  /// read.
  static bool differ(const HeldFolder& folder, const std::string& path);

  /// The top of the volume that a held folder lies on. Throws std::system_error.
  static std::string topOf(const HeldFolder& folder);

  /// The folders named `name` at the tops of all mounted volumes, the one of the home folder among them, that are real
  /// folders of the running user.
  static std::vector<std::string> ownFoldersNamed(std::string_view name, const std::vector<MountPoint>& mounts);
};

/// Where things are moved to. Private to its owner, held open.
struct StoreFolder {
  HeldFolder folder;

  /// Opens `name` in `parent`, making it when it is missing. Throws DisposalError when it is no real folder, belongs to
  /// somebody else, or others may look into it (may write to it, when `othersMayRead`); std::system_error when it
  /// cannot be made. `what` names it for people.
  static StoreFolder open(const HeldFolder& parent, const std::string& name, bool othersMayRead,
                          const std::string& what);

  /// The same for an absolute path, the folders above it included.
  static StoreFolder open(const std::string& path, bool othersMayRead, const std::string& what);

  /// Opens what is there. Throws as open() does; std::system_error with no_such_file_or_directory when there is
  /// nothing.
  static StoreFolder openExisting(const std::string& path, bool othersMayRead, const std::string& what);

  int descriptor() const { return folder.descriptor.get(); }
  std::string pathOf(std::string_view name) const;
};

/// A size as receipts have it; the largest figure where that does not hold it.
std::int64_t signedBytes(std::uint64_t bytes);

/// Days as a span of time, at most some thousand years.
std::chrono::seconds retention(std::int64_t days);

/// Throws DisposalError, with the sentence of moveIntoStore(), when a store at this path lies or would lie on another
/// volume than the entry.
void requireSameVolume(const HeldEntry& entry, const std::string& storePath, std::string_view wayOut);

/// Moves an entry into a store under a name that must be free, and makes sure that what arrived is what was looked at;
/// anything else goes back, and throws StrayedError when that fails. Returns file_exists when the name is taken. Throws
/// DisposalError otherwise; for another volume with a sentence that names both and ends with what to do.
[[nodiscard]] std::error_code moveIntoStore(const HeldEntry& entry, const StoreFolder& store, const std::string& name,
                                            std::string_view wayOut);

/// Throws DisposalError when a store at this absolute path could not be used or made now, with the sentence of
/// StoreFolder::open() where that would refuse it. Makes nothing.
void requireStoreUsable(const std::string& path, bool othersMayRead, const std::string& what);

/// Throws DisposalError with the system's reason when the running user may not take the entry out of its folder.
void requireChangeable(const HeldEntry& entry);

/// False for "", "." and "..", which name no entry of a folder. A manifest or info file called after one of them would
/// have the whole store removed in its name.
bool namesAnEntry(std::string_view name);

/// As much of a name as leaves room for `reserved` bytes within the length that file systems take, cut between
/// characters.
std::string shortenedName(std::string_view name, std::size_t reserved);

}  // namespace tidra
