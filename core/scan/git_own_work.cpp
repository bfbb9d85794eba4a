// Finds repositories with work that a new clone would not contain: uncommitted changes, untracked files, unpushed
// commits and stashes. Tags show nothing about a remote unless a clone wrote them.
#include <algorithm>
#include <array>

#include "core/base/byte_units.h"
#include "core/base/text.h"
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

/// Whether a reflog entry only refers to a commit that existed before, here or in a remote.
bool isMove(std::string_view message) {
  constexpr std::array moves{"clone:", "checkout:", "reset:"};
  return message.ends_with(": Fast-forward") ||
         std::any_of(moves.begin(), moves.end(), [&](const char* move) { return message.starts_with(move); });
}

bool isObjectName(std::string_view text) {
  constexpr std::size_t shortest = 40;
  return text.size() >= shortest && text.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

/// Returns the last commits that were made here, also those that no branch has; nullopt if the reflog is unreadable.
std::optional<std::vector<std::string>> commitsMadeHere(const std::string& gitFolder) {
  constexpr std::size_t longest = 4_MiB;
  constexpr std::size_t mostCommits = 1000;  // fit a command line
  std::vector<std::string> commits;
  const auto text = readRegularFile(reflogOf(gitFolder), longest);
  if (text.failure() == std::errc::no_such_file_or_directory) return commits;
  if (!text) return std::nullopt;
  const auto lines = splitNonEmpty(*text, '\n');
  for (auto line = lines.rbegin(); line != lines.rend() && commits.size() < mostCommits; ++line) {
    // Old and new commit, author, date, a tab and the message.
    const auto tab = line->find('\t');
    const auto fields = splitNonEmpty(line->substr(0, tab), ' ');
    if (fields.size() < 2 || !isObjectName(fields[1])) continue;
    if (tab == std::string_view::npos || !isMove(line->substr(tab + 1))) commits.emplace_back(fields[1]);
  }
  return commits;
}

}  // namespace

std::optional<bool> TidraGitMetadataReader::holdsOwnWork(const std::string& repository) const {
  if (isRemainsOfRepository(repository)) return false;
  if (!git_) return std::nullopt;
  const auto changes = countChanges(repository);
  if (!changes || *changes > 0) return changes ? std::optional(true) : std::nullopt;
  const auto overlooked = overlooksChanges(repository);
  if (!overlooked || *overlooked) return overlooked;
  return isLinkedWorktree(repository) ? false : holdsUnpushedCommits(repository);
}

/// Whether files are marked for git to assume that they are unchanged.
std::optional<bool> TidraGitMetadataReader::overlooksChanges(const std::string& repository) const {
  const auto listed = answer(repository, {"ls-files", "-v", "-z"});
  if (!listed) return std::nullopt;
  const auto lines = splitNonEmpty(*listed, '\0');
  return std::any_of(lines.begin(), lines.end(), [&](std::string_view line) {
    constexpr std::size_t tagLength = 2;
    const char tag = line.front();
    if (tag >= 'a' && tag <= 'z') return true;
    // A sparse checkout marks the files that it leaves out.
    return tag == 'S' && line.size() > tagLength && pathFacts(joinedPath(repository, line.substr(tagLength)));
  });
}

std::optional<bool> TidraGitMetadataReader::holdsUnpushedCommits(const std::string& repository) const {
  const auto gitFolder = gitFolderOf(repository);
  const auto madeHere = gitFolder ? commitsMadeHere(*gitFolder) : std::nullopt;
  if (!madeHere) return std::nullopt;
  const auto isAnyLeft = [&](const std::vector<std::string>& from, const std::vector<std::string>& tags) {
    std::vector<std::string> arguments{"log", "-1", "--pretty=format:%H", "--ignore-missing"};
    for (const auto* part : {&from, &tags}) arguments.insert(arguments.end(), part->begin(), part->end());
    const auto commits = answer(repository, std::move(arguments));
    return commits ? std::optional(!commits->empty()) : std::nullopt;
  };
  if (!madeHere->empty()) {
    const auto left = isAnyLeft(*madeHere, {"--not", "--remotes"});
    if (!left || *left) return left;
  }
  return isAnyLeft({"--all", "--not", "--remotes"}, tagsOfRemotes(repository, *gitFolder));
}

/// Returns arguments for git that name the tags of a clone. Clones write them packed. Local tags are loose until git
/// packs them: the reflog still has their commits.
std::vector<std::string> TidraGitMetadataReader::tagsOfRemotes(const std::string& repository,
                                                               const std::string& gitFolder) const {
  constexpr std::size_t mostTags = 500;
  const auto remotes = answer(repository, {"config", "--name-only", "--get-regexp", "^remote\\..*\\.url$"});
  const auto folder = openDirectory(joinedPath(gitFolder, "refs/tags"));
  if (!remotes || !folder) return {};
  std::vector<std::string> arguments;
  DirectoryReader reader;
  reader.start(folder->get());
  for (DirectoryEntry entry; reader.next(entry);) {
    if (arguments.size() >= 2 * mostTags) return {};
    const std::string name(entry.name);
    arguments.insert(arguments.end(), {"--exclude=" + name, "--exclude=" + name + "/*"});
  }
  arguments.emplace_back("--tags");
  return arguments;
}

std::vector<std::optional<bool>> TidraGitMetadataReader::holdOwnWork(
    const std::vector<std::string>& repositories) const {
  std::vector<std::optional<bool>> answers(repositories.size());
  askRepositories(repositories.size(), shouldCancel_,
                  [&](std::size_t i) { answers[i] = holdsOwnWork(repositories[i]); });
  return answers;
}

}  // namespace tidra
