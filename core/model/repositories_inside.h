// The repositories in a folder that is measured.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/platform/directory_reader.h"

namespace tidra {

struct RepositoriesInside {
  static constexpr std::size_t mostOfGit = 1000;
  static constexpr std::size_t longestPath = 4096;  // bytes; no program can be started in a folder with a longer one

  /// A working copy of another version control system, which is not asked.
  struct Foreign {
    std::string folder;
    std::string system;

    bool operator==(const Foreign&) const = default;
  };

  // Folders that hold ".git" and bare repositories, in byte order; the first ones if there are more.
  std::vector<std::string> ofGit = {};
  bool hasMore = false;                 // further repositories, or one with a longer path
  std::optional<Foreign> foreign = {};  // the first one in byte order

  bool operator==(const RepositoriesInside&) const = default;
};

/// Recognises a repository of git from one folder's listing: call note() for every entry, then the queries.
class GitSigns {
 public:
  void note(std::string_view name) {
    constexpr std::size_t shortest = 4;
    if (name.size() < shortest) return;
    if (name == ".git") hasGit_ = true;
    if (name == "HEAD" || name == "packed-refs") hasHead_ = true;
    if (name == "objects") hasObjects_ = true;
    if (name == "refs") hasRefs_ = true;
  }

  /// Whether the folder contains ".git".
  bool holdsGit() const { return hasGit_; }
  /// Whether it looks like a ".git" itself or a bare repository, possibly one that lost its HEAD.
  bool isBare() const { return hasHead_ && hasObjects_ && hasRefs_; }

 private:
  bool hasGit_ = false;
  bool hasHead_ = false;
  bool hasObjects_ = false;
  bool hasRefs_ = false;
};

/// Returns the name of the version control system, other than git, whose working copies hold such an entry; null if
/// none does.
inline const char* foreignVersionControl(const DirectoryEntry& entry) {
  struct Mark {
    std::string_view name;
    const char* system;
    EntryType type = EntryType::directory;
  };
  constexpr std::array marks{Mark{".hg", "Mercurial"},
                             Mark{".jj", "Jujutsu"},
                             Mark{".svn", "Subversion"},
                             Mark{".bzr", "Bazaar"},
                             Mark{".pijul", "Pijul"},
                             Mark{"_darcs", "Darcs"},
                             Mark{"CVS", "CVS"},
                             Mark{".sl", "Sapling"},
                             Mark{"_MTN", "Monotone"},
                             Mark{"RCS", "Revision Control System (RCS)"},
                             Mark{"SCCS", "Source Code Control System (SCCS)"},
                             Mark{".fslckout", "Fossil", EntryType::regularFile},
                             Mark{"_FOSSIL_", "Fossil", EntryType::regularFile}};
  const char first = entry.name.front();
  if (first != '.' && first != '_' && first != 'C' && first != 'R' && first != 'S') return nullptr;
  for (const Mark& mark : marks) {
    if (entry.name == mark.name && entry.type == mark.type) return mark.system;
  }
  return nullptr;
}

}  // namespace tidra
