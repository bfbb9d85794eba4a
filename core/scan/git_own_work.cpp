// Finds repositories with work that a new clone would not contain: uncommitted changes, untracked files, unpushed
// commits and stashes.
#include "core/base/byte_units.h"
#include "core/platform/directory_reader.h"
#include "core/platform/files.h"
#include "core/platform/path_text.h"
#include "core/scan/git_metadata.h"
#include "core/scan/git_questions.h"

namespace tidra {
namespace {

/// Some packages were published with parts of a ".git". An unreadable one may be complete.
bool isRemainsOfRepository(const std::string& folder) {
  const std::string git = joinedPath(folder, ".git");
  const auto facts = pathFacts(git);
  if (!facts || facts->type != EntryType::directory) return false;
  return pathFacts(joinedPath(git, "HEAD")).failure() == std::errc::no_such_file_or_directory;
}

/// Commits of a linked worktree are in its main repository, which stays.
bool isLinkedWorktree(const std::string& folder) {
  constexpr std::size_t longest = 64_KiB;
  const auto text = readRegularFile(joinedPath(folder, ".git"), longest);
  return text && text->find("/worktrees/") != std::string::npos;
}

}  // namespace

std::optional<bool> TidraGitMetadataReader::holdsOwnWork(const std::string& repository) const {
  if (isRemainsOfRepository(repository)) return false;
  if (!git_) return std::nullopt;
  const auto changes = countChanges(repository);
  if (!changes || *changes > 0) return changes ? std::optional(true) : std::nullopt;
  if (isLinkedWorktree(repository)) return false;
  const auto commits = answer(repository, {"log", "-1", "--pretty=format:%H", "--all", "--not", "--remotes", "--tags"});
  return commits ? std::optional(!commits->empty()) : std::nullopt;
}

std::vector<std::optional<bool>> TidraGitMetadataReader::holdOwnWork(
    const std::vector<std::string>& repositories) const {
  std::vector<std::optional<bool>> answers(repositories.size());
  askRepositories(repositories.size(), shouldCancel_,
                  [&](std::size_t i) { answers[i] = holdsOwnWork(repositories[i]); });
  return answers;
}

}  // namespace tidra
