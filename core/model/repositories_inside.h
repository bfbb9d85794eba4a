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

  std::vector<std::string> ofGit = {};  // folders that hold ".git", in byte order; the first ones if there are more
  bool hasMore = false;                 // further repositories, or one with a longer path
  std::optional<Foreign> foreign = {};  // the first one in byte order

  bool operator==(const RepositoriesInside&) const = default;
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
                             Mark{".fslckout", "Fossil", EntryType::regularFile},
                             Mark{"_FOSSIL_", "Fossil", EntryType::regularFile}};
  const char first = entry.name.front();
  if (first != '.' && first != '_' && first != 'C') return nullptr;
  for (const Mark& mark : marks) {
    if (entry.name == mark.name && entry.type == mark.type) return mark.system;
  }
  return nullptr;
}

}  // namespace tidra
