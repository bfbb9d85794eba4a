// Paths for removing and moving. Prevents symlink races (TOCTOU): each component is opened relative to its parent's
// descriptor with O_NOFOLLOW, and the last folder stays open.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

#include "core/base/errors.h"
#include "core/platform/directory_reader.h"
#include "core/platform/file_descriptor.h"

namespace tidra {

/// A path that is unsafe or invalid for removal. what() is the sentence shown to the user.
class UnsafePathError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// An open folder. The descriptor (O_PATH on Linux) names entries in it and may not be readable.
struct HeldFolder {
  FileDescriptor descriptor;
  std::string path;  // absolute, symbolic links resolved
};

/// An entry of a held folder; a symbolic link is the entry itself, not its target.
struct HeldEntry {
  HeldFolder folder;
  std::string name;
  EntryFacts facts;

  std::string path() const;  // absolute; only the last component may be a symbolic link
};

/// Opens an absolute path component by component. Follows a symbolic link only if it belongs to root or the running
/// user. Throws UnsafePathError for links of others, for ".." and for relative paths; std::system_error if a component
/// is missing or not searchable.
HeldFolder holdFolder(std::string_view path);

/// As holdFolder(), creating missing folders with these permissions less the umask.
HeldFolder holdOrMakeFolder(std::string_view path, unsigned permissions);

/// Holds the parent folder of an entry; the last component is never followed. Throws as holdFolder() does, and
/// UnsafePathError for "/".
HeldEntry holdEntry(std::string_view path);

/// Whether only the running user and root can replace the folder or its contents: the path has no symbolic link, and no
/// folder on it is owned or writable by others. Sticky folders such as /tmp are allowed as ancestors.
bool isBeyondOthersReach(std::string_view folder);

/// One path component, opened with O_NOFOLLOW.
struct PathComponent {
  FileDescriptor folder;   // set for a folder
  std::string linkTarget;  // set for a symbolic link
  std::uint32_t linkOwner = 0;
};

/// Opens a folder, or reads a symbolic link together with its owner (no race between the two). Fails with
/// not_a_directory for anything else.
Outcome<PathComponent> openPathComponent(int parent, const std::string& name);

/// Whether all users, or a group with other members than the running user, may write to the entry at a path.
[[nodiscard]] bool isWritableByOthers(const std::string& path, const EntryFacts& entry);

/// Whether an open folder of another user contains entries that the running user cannot remove: by its permissions, or
/// by its sticky bit. Never for own folders, whose permissions a removal extends.
[[nodiscard]] bool holdsEntriesThatStay(int folder);

/// The effective user id.
std::uint32_t runningUser();

/// Whether an entry belongs to the running user, root or the owner of its folder. Entries of others must not decide
/// what is removed there.
[[nodiscard]] bool isByDecider(const EntryFacts& entry, const EntryFacts& folder);

/// Whether an entry in a world-writable folder such as "/tmp" belongs to a stranger.
[[nodiscard]] bool isPlanted(const EntryFacts& entry, const EntryFacts& folder);

}  // namespace tidra
