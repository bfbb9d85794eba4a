// Folders of installed programs, not of projects: removing them breaks the program, and no build there recreates them.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/platform/path_resolver.h"

namespace tidra {

class InstalledPrograms {
 public:
  /// Reads the targets of the user's commands.
  explicit InstalledPrograms(const TidraPathResolver& resolver);

  /// Returns the display name of the program that owns a folder, by its location or its surroundings; nullopt if none
  /// does. `path` is absolute. Reads a bounded number of entries; does not throw.
  std::optional<std::string> ownerOf(const std::string& path) const;

  /// The part of ownerOf() that does not access the disk.
  static std::optional<std::string> ownerByPlace(std::string_view path);

 private:
  std::optional<std::string> ownerByCommand(const std::string& path) const;
  std::optional<std::string> ownerByHome(const std::string& path) const;

  std::string home_;
  std::vector<std::pair<std::string, std::string>> commands_;  // resolved target and name
};

}  // namespace tidra
