// Git folders inside a git folder: those of its submodules and of its linked worktrees.
#pragma once

#include <atomic>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace tidra {

/// Bounds what is asked about the repositories of one item: anybody can publish a package with many, or with some on
/// which git hangs. Thread-safe.
class GitBounds {
 public:
  /// `hangsOfAll` counts for all items and must outlive this.
  explicit GitBounds(std::atomic<std::size_t>& hangsOfAll) : hangsOfAll_(hangsOfAll) {}

  /// Whether git hung too often to be started again.
  bool isSpent() const { return hangs_ >= mostHangs || hangsOfAll_ >= mostHangsOfAll; }
  /// Counts a command that had to be ended.
  void noteHang() {
    ++hangs_;
    ++hangsOfAll_;
  }
  /// Counts a folder below a git folder; returns false when it is one too many.
  [[nodiscard]] bool takeFolder() { return folders_++ < mostFolders; }

 private:
  static constexpr std::size_t mostHangs = 2;
  static constexpr std::size_t mostHangsOfAll = 32;
  static constexpr std::size_t mostFolders = 1000;

  std::atomic<std::size_t>& hangsOfAll_;
  std::atomic<std::size_t> hangs_{0};
  std::atomic<std::size_t> folders_{0};
};

/// Returns the git folders of submodules below "modules", also of those without a work tree; nullopt with too many, if
/// one cannot be read, and for a symbolic link. Their names are paths.
std::optional<std::vector<std::string>> submodulesIn(const std::string& gitFolder, GitBounds& bounds);

struct LinkedWorktree {
  std::string gitFolder;    // below "worktrees" of its main repository
  std::string folder = {};  // the work tree, with symbolic links resolved
  bool isThere = false;     // also when locked, as those on removable drives are, or when unknown
};

/// Returns the linked worktrees of a repository, those that git has not pruned yet included; nullopt as above.
std::optional<std::vector<LinkedWorktree>> linkedWorktreesOf(const std::string& gitFolder, GitBounds& bounds);

/// Returns the first work tree that is not in the folder `item`, whose links are resolved; null if there is none.
const LinkedWorktree* worktreeOutside(const std::vector<LinkedWorktree>& worktrees, const std::string& item);

}  // namespace tidra
