// What CMake and Meson record at the top of a build tree: the folder that they made, and of which sources.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/scan/folder_contents.h"

namespace tidra {

struct BuildRecord {
  enum class Generator { cmake, meson };
  Generator generator = Generator::cmake;
  std::string tree;    // absolute
  std::string source;  // absolute

  /// The entries at the top of a tree that hold the records, as patterns separated by blanks.
  static constexpr std::string_view marks = "CMakeCache.txt meson-info";

  /// Returns what the generator wrote into a folder with this listing; nullopt without both folders in it, and where
  /// the file does not vouch for a folder of this owner. Also of a tree that was copied or moved here.
  static std::optional<BuildRecord> in(const std::string& folder, const std::vector<FolderEntry>& inside,
                                       std::uint32_t owner);

  std::string_view mark() const { return generator == Generator::cmake ? "CMakeCache.txt" : "meson-info"; }

  /// Whether it was written for this very folder, links resolved.
  [[nodiscard]] bool isOf(const std::string& folder) const;

  /// Whether its project still lies outside of a folder that goes.
  [[nodiscard]] bool hasSourceOutside(const std::string& folder) const;

  /// Returns the commands that make the tree again, run in the project: "cmake -B build && cmake --build build".
  std::string commands(const std::string& project) const;
};

}  // namespace tidra
