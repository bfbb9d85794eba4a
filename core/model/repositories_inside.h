// The repositories in a folder that is measured.
#pragma once

#include <algorithm>
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

/// A folder that another version control system keeps in its working copies.
struct ForeignMark {
  std::string_view name;
  const char* system;
  std::array<std::string_view, 3> contents = {};  // any of these; none: the name suffices
  std::string_view prefix = {};
  std::string_view suffix = {};

  bool isSure() const { return contents.front().empty() && prefix.empty() && suffix.empty(); }
  bool isProof(std::string_view entry) const {
    if (!prefix.empty()) return entry.starts_with(prefix);
    if (!suffix.empty()) return entry.ends_with(suffix);
    return std::find(contents.begin(), contents.end(), entry) != contents.end();
  }
};
inline constexpr std::array foreignMarks{ForeignMark{".hg", "Mercurial", {"requires", "store", "00changelog.i"}},
                                         ForeignMark{".jj", "Jujutsu"},
                                         ForeignMark{".svn", "Subversion", {"entries", "wc.db"}},
                                         ForeignMark{".bzr", "Bazaar"},
                                         ForeignMark{".pijul", "Pijul", {"config", "pristine"}},
                                         ForeignMark{"_darcs", "Darcs", {"format", "hashed_inventory", "inventory"}},
                                         ForeignMark{"CVS", "CVS", {"Entries", "Root"}},
                                         ForeignMark{".sl", "Sapling"},
                                         ForeignMark{"_MTN", "Monotone"},
                                         ForeignMark{"RCS", "Revision Control System (RCS)", {}, {}, ",v"},
                                         ForeignMark{"SCCS", "Source Code Control System (SCCS)", {}, "s."}};

/// Recognises a working copy of a version control system other than git from the listings of two folders: it holds one
/// with a certain name, which holds certain entries. Published packages have folders with such names and other
/// contents.
class ForeignSigns {
 public:
  /// `folder` is the name of the listed folder.
  explicit ForeignSigns(std::string_view folder) {
    if (!mayBeMark(folder)) return;
    const auto mark = std::find_if(foreignMarks.begin(), foreignMarks.end(),
                                   [&](const ForeignMark& each) { return each.name == folder; });
    if (mark != foreignMarks.end()) mark_ = &*mark;
  }

  void note(const DirectoryEntry& entry) {
    if (entry.name == ".fslckout" || entry.name == "_FOSSIL_") isFossil_ |= entry.type == EntryType::regularFile;
    if (mark_ != nullptr) isMarked_ = isMarked_ || mark_->isProof(entry.name);
  }

  /// Returns the system that keeps a file in the listed folder; null if none does.
  const char* around() const { return isFossil_ ? "Fossil" : nullptr; }
  /// Returns the system to which the listed folder belongs, whose working copy is its parent; null if there is none.
  const char* ofFolder() const { return mark_ != nullptr && (isMarked_ || mark_->isSure()) ? mark_->system : nullptr; }

 private:
  /// Rejects most names.
  static bool mayBeMark(std::string_view name) {
    constexpr std::size_t longest = 6;
    return !name.empty() && name.size() <= longest && std::string_view("._CRS").find(name.front()) != name.npos;
  }

  const ForeignMark* mark_ = nullptr;
  bool isMarked_ = false;
  bool isFossil_ = false;
};

}  // namespace tidra
