// Folders that belong to an installed program, not to a project that somebody works on: removing them breaks the
// program, and no build in that place brings them back.
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
  /// Reads which commands of the user lead where.
  explicit InstalledPrograms(const TidraPathResolver& resolver);

  /// The name of the program that a folder belongs to, for people, as its place or what lies beside it shows; absent
  /// when nothing does. `path` is absolute. Reads a bounded number of entries near the path; never throws.
  std::optional<std::string> ownerOf(const std::string& path) const;

  /// The part of ownerOf() that needs no disk: the table of places.
  static std::optional<std::string> ownerByPlace(std::string_view path);

 private:
  std::optional<std::string> ownerByCommand(const std::string& path) const;
  std::optional<std::string> ownerByHome(const std::string& path) const;

  std::string home_;
  std::vector<std::pair<std::string, std::string>> commands_;  // what each leads to, links resolved, and its name
};

}  // namespace tidra
