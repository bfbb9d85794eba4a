// Where the user's commands, services and menu entries lead: the targets of symbolic links, and absolute paths in small
// text files.
#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "core/base/byte_units.h"
#include "core/platform/path_resolver.h"

namespace tidra {

class ProgramReferences {
 public:
  /// What the text files of a place are; of others only symbolic links count.
  enum class Texts { none, settings, scripts };

  /// Reads the places of the table in the source and the folders of PATH in the home folder: files up to 64 KiB, and in
  /// each place at most 8,192 entries, 4 MiB and 20,000 paths of text. Does not throw.
  explicit ProgramReferences(const TidraPathResolver& resolver);

  /// Returns the places that hold more than was read, for display: "~/bin/*".
  const std::vector<std::string>& partlyRead() const { return partlyRead_; }

  /// Returns the display name of an entry that leads to a folder or into it: a link, a setting that starts a program, a
  /// folder of PATH; nullopt without one. Symbolic links in `folder` are resolved.
  std::optional<std::string> into(const std::string& folder) const;

  /// As into(), by symbolic links only.
  std::optional<std::string> linkedInto(const std::string& folder) const;

  /// Returns the display name of a script that names a folder or something in it. It need not start what it names:
  /// scripts also copy and clean.
  std::optional<std::string> scriptedInto(const std::string& folder) const;

  /// Returns the display name of a script or setting that names a regular file in a project.
  std::optional<std::string> namingFileOf(const std::string& project) const;

 private:
  using Names = std::map<std::string, std::string>;  // by place, with symbolic links in its folder resolved

  /// What remains to be read of a place.
  struct Budget {
    std::size_t entries = 8192;
    std::size_t bytes = 4_MiB;
    std::size_t paths = 20000;
    bool isExceeded = false;

    /// Uses up `amount` of a part; false if that is more than is left.
    bool take(std::size_t& part, std::size_t amount = 1);
  };

  void readPlace(const TidraPathResolver& resolver, const std::string& folder, std::string_view pattern, Texts texts);
  void readPlaces(const std::string& folder, std::string_view pattern, Texts texts, const std::string& name);
  void readEntry(const std::string& path, Texts texts, const std::string& name);
  void readSearchPath(const TidraPathResolver& resolver);
  void add(std::string path, const std::string& name, Names& names);
  const std::optional<std::string>& realFolder(const std::string& folder);
  static std::optional<std::string> find(const Names& names, const std::string& folder);

  std::string home_;
  Names links_;
  Names named_;     // in settings and by PATH
  Names scripted_;  // in scripts
  std::vector<std::string> partlyRead_;
  // Of the constructor:
  std::set<std::string> listed_;
  std::unordered_map<std::string, std::optional<std::string>> realFolders_;
  Budget left_;  // of the present place
};

/// Returns the absolute paths in a text, also those that begin with "~", "$HOME" or "%h" (systemd). Paths end at white
/// space, unless quoted, at delimiters, and where a variable begins.
std::vector<std::string> pathsNamedIn(std::string_view text, const std::string& home);

}  // namespace tidra
