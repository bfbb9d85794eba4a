// Paths as removing and moving use them: opened one component at a time from "/" down and then held open, so that
// nobody who may change a folder on the way can bend the path to somewhere else between looking and acting.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

#include "core/base/errors.h"
#include "core/platform/directory_reader.h"
#include "core/platform/file_descriptor.h"

namespace tidra {

/// A path that cannot be trusted or makes no sense for removal. what() is the sentence for people.
class UnsafePathError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A folder that is held open. Its descriptor serves to name entries in it and may not be readable.
struct HeldFolder {
  FileDescriptor descriptor;
  std::string path;  // absolute, without links
};

/// An entry of a held folder, looked at without following a link in its place.
struct HeldEntry {
  HeldFolder folder;
  std::string name;
  EntryFacts facts;

  std::string path() const;  // absolute; only the name may be that of a link
};

/// Opens an absolute path component by component. A link is followed only when it belongs to root or to the running
/// user. Throws UnsafePathError for a link of somebody else, for "..", and for text that is no absolute path, and
/// std::system_error whose what() is the system's reason when a component is missing or must not be searched.
HeldFolder holdFolder(std::string_view path);

/// As holdFolder, making what is missing with these permissions, less the process's mask.
HeldFolder holdOrMakeFolder(std::string_view path, unsigned permissions);

/// As holdFolder for the folder that holds the entry; the last component is never followed. Throws as holdFolder does,
/// and UnsafePathError for "/", which lies in no folder.
HeldEntry holdEntry(std::string_view path);

/// True when nobody but the running user and root can put something else in the place of the folder, or of what is in
/// it: no link is on the way, and no folder down to it is another user's or changeable by others. One that is marked so
/// that everybody may remove only their own, such as /tmp, may hold it.
bool isBeyondOthersReach(std::string_view folder);

/// One component of a path, opened without following a link in its place.
struct PathComponent {
  FileDescriptor folder;   // of a folder; none for a link
  std::string linkTarget;  // of a link; empty for a folder
  std::uint32_t linkOwner = 0;
};

/// Opens a folder, or reads a link and its owner as one thing that cannot be swapped in between. Anything else gives
/// not_a_directory.
Outcome<PathComponent> openPathComponent(int parent, const std::string& name);

/// The user on whose behalf the program acts.
std::uint32_t runningUser();

/// True when an entry belongs to somebody who decides about the folder that holds it: the running user, root or the
/// folder's owner. Others' entries must not decide for these what goes.
[[nodiscard]] bool isByDecider(const EntryFacts& entry, const EntryFacts& folder);

/// True for an entry that a stranger put into a folder where everybody may write, such as "/tmp".
[[nodiscard]] bool isPlanted(const EntryFacts& entry, const EntryFacts& folder);

}  // namespace tidra
