// Folders of installed programs, not of projects: removing them breaks the program, and no build there recreates them.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/platform/path_resolver.h"
#include "core/scan/program_references.h"

namespace tidra {

class InstalledPrograms {
 public:
  /// Reads where the user's commands, services and menu entries lead.
  explicit InstalledPrograms(const TidraPathResolver& resolver);

  /// Returns the display name of the program that owns a folder, by its location, by its surroundings, or because an
  /// entry leads into it or, as a symbolic link, into its project; nullopt if none does. Paths are absolute. Reads a
  /// bounded number of entries; does not throw.
  std::optional<std::string> ownerOf(const std::string& path, const std::optional<std::string>& project = {}) const;

  /// Returns the display name of a script of the user that names a folder or something in it, or of a script or service
  /// that names a file of its project; nullopt without one. Weaker than ownerOf(): it may only copy or clean them.
  std::optional<std::string> mentionedBy(const std::string& path, const std::optional<std::string>& project = {}) const;

  /// Returns the places of entries that hold more than was read, for display.
  const std::vector<std::string>& partlyRead() const { return references_.partlyRead(); }

  /// The part of ownerOf() that does not access the disk.
  static std::optional<std::string> ownerByPlace(std::string_view path);

 private:
  std::optional<std::string> realProjectOf(const std::optional<std::string>& project) const;
  std::optional<std::string> ownerByReference(const std::string& real, const std::optional<std::string>& project) const;

  std::string home_;
  std::string realHome_;                                    // symbolic links resolved
  std::vector<std::pair<std::string, std::string>> moved_;  // targets of hidden links in the home folder, and these
  ProgramReferences references_;
};

}  // namespace tidra
