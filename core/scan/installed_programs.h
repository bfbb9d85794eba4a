// Folders that belong to an installed program, not to a project that somebody works on: removing them breaks the
// program, and no build in that place brings them back.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tidra {

struct InstalledPrograms {
  /// The name of the program that a folder belongs to, for people, as its place or what lies beside it shows; absent
  /// when nothing does. `path` is absolute. Reads a bounded number of entries near the path; never throws.
  static std::optional<std::string> ownerOf(const std::string& path);

  /// The part of ownerOf() that needs no disk: the table of places.
  static std::optional<std::string> ownerByPlace(std::string_view path);
};

}  // namespace tidra
