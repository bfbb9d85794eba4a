// Volumes, as far as rename() without copying is concerned.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "core/platform/held_folder.h"
#include "core/platform/mount_table.h"
#include "core/platform/path_resolver.h"

namespace tidra {

struct Volumes {
  /// Whether a held folder and the folder at `path` are on different volumes; true when either cannot be read.
  static bool differ(const HeldFolder& folder, const std::string& path);

  /// Returns the top folder of the volume of a held folder. Throws std::system_error.
  static std::string topOf(const HeldFolder& folder);

  /// Returns the folders named `name` at the top of each mounted volume that are owned by the running user and no
  /// symbolic links.
  static std::vector<std::string> ownFoldersNamed(std::string_view name, const std::vector<MountPoint>& mounts);
};

/// The end of messages about items that cannot be moved into a store: what to do instead.
inline constexpr const char* deleteInstead = "use --method delete";

/// The message of an error of a store; with what to do instead if its volume or quota is full: deleting needs no space.
std::string storeMessage(const std::error_code& error);

/// A store, private to its owner and held open.
struct StoreFolder {
  HeldFolder folder;
  bool isNewAndOpen = false;  // made just now, and open to others: its file system has no permissions

  /// Opens `name` in `parent`, creating it if missing. Throws DisposalError if it cannot be created, is no real folder,
  /// belongs to another user or is accessible to others (`othersMayRead`: writable by others). Others' access is
  /// accepted where the file system has no permissions: the volume's top folder shows the same, and chmod has no
  /// effect. `what` names it in messages.
  static StoreFolder open(const HeldFolder& parent, const std::string& name, bool othersMayRead,
                          const std::string& what);

  /// As above for an absolute path; creates missing parents.
  static StoreFolder open(const std::string& path, bool othersMayRead, const std::string& what);

  /// Opens an existing store without trying chmod. Throws as open() does, and std::system_error with
  /// no_such_file_or_directory if missing.
  static StoreFolder openExisting(const std::string& path, bool othersMayRead, const std::string& what);

  int descriptor() const { return folder.descriptor.get(); }
  std::string pathOf(std::string_view name) const;
  /// Returns the names of its entries. Throws std::system_error.
  std::vector<std::string> sortedNames() const;
};

/// Converts days, clamped to 0 to 1,000,000.
std::chrono::seconds retention(std::int64_t days);

/// Throws DisposalError if a present or future store at this path is on another volume than the entry, if it would
/// belong to another user, as everything does on a volume without owners that another user mounted, or if the entry is
/// a folder that its overlay cannot rename.
void requireStorable(const HeldEntry& entry, const std::string& storePath, const std::vector<MountPoint>& mounts);

/// Moves an entry into a store under a free name, then compares the identity of what arrived: another file (lost TOCTOU
/// race) is moved back, or StrayedError is thrown if that fails. Returns file_exists if the name is taken. Throws
/// DisposalError otherwise; between volumes, and where the file system cannot rename the entry, it ends with `wayOut`.
[[nodiscard]] std::error_code moveIntoStore(const HeldEntry& entry, const StoreFolder& store, const std::string& name,
                                            std::string_view wayOut);

/// Throws DisposalError if a store at this absolute path could not be used or created now. Creates nothing.
void requireStoreUsable(const std::string& path, bool othersMayRead, const std::string& what);

/// Throws DisposalError if the running user cannot remove the entry from its folder (permissions, sticky bit).
void requireChangeable(const HeldEntry& entry);

/// Throws DisposalError if the entry is a folder of another user that the running user cannot empty, as a container
/// leaves it in a bind mount: what lies in it cannot be removed, nor the folder be moved to another one.
void requireEmptiable(const HeldEntry& entry);

/// False for "", "." and "..": a manifest or info file named after them would make a purge remove the whole store.
bool namesAnEntry(std::string_view name);

/// Truncates a name between UTF-8 characters, so that `reserved` more bytes fit into 255 (NAME_MAX).
std::string shortenedName(std::string_view name, std::size_t reserved);

}  // namespace tidra
