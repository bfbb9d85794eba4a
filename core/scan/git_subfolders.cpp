#include "core/scan/git_subfolders.h"

#include <algorithm>

#include "core/platform/directory_reader.h"
#include "core/platform/files.h"
#include "core/platform/path_text.h"
#include "core/scan/git_folder.h"

namespace tidra {
namespace {

bool isAbsent(std::error_code failure) { return failure == std::errc::no_such_file_or_directory; }

/// A link below a git folder could lead many repositories to the same folders.
Outcome<FileDescriptor> openWithoutLink(const std::string& path) {
  const auto facts = pathFacts(path);
  if (!facts) return facts.failure();
  if (facts->type != EntryType::directory) return std::make_error_code(std::errc::not_a_directory);
  return openDirectory(path);
}

/// Appends the subfolders of an open folder to `paths`; returns false if it cannot be read or there are too many.
bool addSubfolders(const FileDescriptor& folder, const std::string& path, GitBounds& bounds,
                   std::vector<std::string>& paths) {
  DirectoryReader reader;
  reader.start(folder.get());
  for (DirectoryEntry entry; reader.next(entry);) {
    if (entry.type != EntryType::directory) continue;
    if (!bounds.takeFolder()) return false;
    paths.push_back(joinedPath(path, entry.name));
  }
  return !reader.failure();
}

/// Without the file "gitdir" git knows of no work tree.
std::optional<LinkedWorktree> linkedWorktreeAt(const std::string& gitFolder) {
  const auto link = linkBackOf(gitFolder);
  if (!link) return isAbsent(link.failure()) ? std::optional(LinkedWorktree{.gitFolder = gitFolder}) : std::nullopt;
  const std::string folder = parentPath(*link);
  const bool isGone = isAbsent(pathFacts(folder).failure()) && !pathExists(joinedPath(gitFolder, "locked"));
  return LinkedWorktree{gitFolder, realPathOrSame(folder), !isGone};
}

}  // namespace

std::optional<std::vector<std::string>> submodulesIn(const std::string& gitFolder, GitBounds& bounds) {
  std::vector<std::string> modules;
  std::vector<std::string> ahead{joinedPath(gitFolder, "modules")};
  while (!ahead.empty()) {
    const std::string path = std::move(ahead.back());
    ahead.pop_back();
    const auto folder = openWithoutLink(path);
    if (isAbsent(folder.failure())) continue;
    if (!folder) return std::nullopt;
    if (pathExists(joinedPath(path, "HEAD"))) {
      modules.push_back(path);
      ahead.push_back(joinedPath(path, "modules"));
    } else if (!addSubfolders(*folder, path, bounds, ahead)) {
      return std::nullopt;
    }
  }
  return modules;
}

std::optional<std::vector<LinkedWorktree>> linkedWorktreesOf(const std::string& gitFolder, GitBounds& bounds) {
  std::vector<LinkedWorktree> worktrees;
  const std::string path = joinedPath(gitFolder, "worktrees");
  const auto folder = openWithoutLink(path);
  if (isAbsent(folder.failure())) return worktrees;
  std::vector<std::string> gitFolders;
  if (!folder || !addSubfolders(*folder, path, bounds, gitFolders)) return std::nullopt;
  std::sort(gitFolders.begin(), gitFolders.end());
  for (const std::string& each : gitFolders) {
    auto worktree = linkedWorktreeAt(each);
    if (!worktree) return std::nullopt;
    worktrees.push_back(std::move(*worktree));
  }
  return worktrees;
}

const LinkedWorktree* worktreeOutside(const std::vector<LinkedWorktree>& worktrees, const std::string& item) {
  const auto outside = std::find_if(worktrees.begin(), worktrees.end(), [&](const LinkedWorktree& worktree) {
    return worktree.isThere && !isSameOrInside(worktree.folder, item);
  });
  return outside == worktrees.end() ? nullptr : &*outside;
}

}  // namespace tidra
