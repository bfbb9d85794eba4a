// Which repositories hold work that a new clone would not bring back: uncommitted changes, untracked files, commits and
// stashes that no remote has.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>

#include "core/platform/directory_reader.h"
#include "core/platform/files.h"
#include "core/platform/path_text.h"
#include "core/platform/spare_threads.h"
#include "core/scan/git_metadata.h"

namespace tidra {
namespace {

constexpr std::size_t mostThreads = 8;
constexpr std::size_t mostHangs = 8;

/// Some packages were published with a part of their ".git" in them. One that must not be looked into may be whole.
bool isRemainsOfRepository(const std::string& folder) {
  const std::string git = joinedPath(folder, ".git");
  const auto facts = pathFacts(git);
  if (!facts || facts->type != EntryType::directory) return false;
  return pathFacts(joinedPath(git, "HEAD")).failure() == std::errc::no_such_file_or_directory;
}

/// The commits of a linked worktree lie in the repository that it belongs to, which stays.
bool isLinkedWorktree(const std::string& folder) {
  constexpr std::size_t longest = 64 * 1024;
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
  std::atomic<std::size_t> next{0};
  std::atomic<std::size_t> hangs{0};
  const auto work = [&] {
    for (std::size_t i = next++; i < repositories.size() && hangs < mostHangs; i = next++) {
      if (shouldCancel_ && shouldCancel_()) return;
      const auto asked = std::chrono::steady_clock::now();
      answers[i] = holdsOwnWork(repositories[i]);
      const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - asked;
      if (taken.count() >= commandTimeoutSeconds) ++hangs;
    }
  };
  runOnThreads(std::min(mostThreads, repositories.size()), work);
  return answers;
}

}  // namespace tidra
