// Finds repositories with work that a new clone would not contain: uncommitted changes, untracked files, unpushed
// commits and stashes, also those of submodules. Tags show nothing about a remote unless a clone wrote them.
#include <algorithm>
#include <array>
#include <utility>

#include "core/base/byte_units.h"
#include "core/base/text.h"
#include "core/platform/directory_reader.h"
#include "core/platform/files.h"
#include "core/platform/path_text.h"
#include "core/scan/git_folder.h"
#include "core/scan/git_metadata.h"
#include "core/scan/git_questions.h"

namespace tidra {
namespace {

/// Whether a folder of objects has none. The fan-out folders have names of two hexadecimal digits.
bool isWithoutObjects(const std::string& folder) {
  const auto objects = openDirectory(folder);
  if (!objects) return objects.failure() == std::errc::no_such_file_or_directory;
  DirectoryReader reader;
  reader.start(objects->get());
  constexpr std::size_t fanOutLength = 2;
  for (DirectoryEntry entry; reader.next(entry);) {
    if (entry.name.size() == fanOutLength) return false;
    if (entry.name != "pack") continue;
    const auto packs = openDirectory(joinedPath(folder, entry.name));
    DirectoryReader packReader;
    if (packs) packReader.start(packs->get());
    DirectoryEntry pack;
    if (!packs || packReader.next(pack) || packReader.failure()) return false;
  }
  return !reader.failure();
}

/// Some packages were published with parts of a ".git". An unreadable one may be complete, and one with objects or
/// references lost its HEAD.
bool isRemainsOfRepository(const std::string& folder) {
  const std::string git = joinedPath(folder, ".git");
  const auto facts = pathFacts(git);
  if (!facts || facts->type != EntryType::directory) return false;
  constexpr std::array work{"HEAD", "refs", "packed-refs", "logs", "modules", "worktrees"};
  const bool isWithoutWork = std::all_of(work.begin(), work.end(), [&](const char* name) {
    return pathFacts(joinedPath(git, name)).failure() == std::errc::no_such_file_or_directory;
  });
  return isWithoutWork && isWithoutObjects(joinedPath(git, "objects"));
}

/// Whether a reflog entry only refers to a commit that existed before, here or in a remote.
bool isMove(std::string_view message) {
  constexpr std::array moves{"clone:", "checkout:", "reset:"};
  if (message.starts_with("merge ") || message.starts_with("pull")) return message.ends_with(": Fast-forward");
  return std::any_of(moves.begin(), moves.end(), [&](const char* move) { return message.starts_with(move); });
}

bool isObjectName(std::string_view text) {
  constexpr std::size_t shortest = 40;
  return text.size() >= shortest && text.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

struct Reflog {
  std::vector<std::string> madeHere;  // the last commits that were made here, also those that no branch has
  std::optional<TimePoint> cloned;    // when the repository was cloned; absent without that entry
};

/// A line has the old and the new commit, author, date, zone, a tab and a message. Empty without the file; nullopt if
/// it is unreadable.
std::optional<Reflog> reflogIn(const std::string& gitFolder) {
  constexpr std::size_t longest = 4_MiB;
  constexpr std::size_t mostCommits = 1000;  // fit a command line
  Reflog log;
  const auto text = readRegularFile(reflogOf(gitFolder), longest);
  if (text.failure() == std::errc::no_such_file_or_directory) return log;
  if (!text) return std::nullopt;
  const auto lines = splitNonEmpty(*text, '\n');
  for (auto line = lines.rbegin(); line != lines.rend(); ++line) {
    const auto tab = line->find('\t');
    const auto fields = splitNonEmpty(line->substr(0, tab), ' ');
    if (fields.size() < 2 || !isObjectName(fields[1])) continue;
    const std::string_view message = tab == std::string_view::npos ? "" : line->substr(tab + 1);
    if (!isMove(message) && log.madeHere.size() < mostCommits) log.madeHere.emplace_back(fields[1]);
    const auto seconds = message.starts_with("clone:") ? wholeNumber(fields[fields.size() - 2]) : std::nullopt;
    if (seconds) log.cloned = timePointAt(*seconds);
  }
  return log;
}

/// Returns arguments for git that name the tags that came with a clone, which writes them packed. Local tags are loose
/// until git packs all of them; from then on none says anything, since their reflog entries may have expired.
std::vector<std::string> tagsOfClone(const std::string& common, const Reflog& reflog) {
  constexpr std::chrono::seconds timeToWrite{2};
  constexpr std::size_t mostTags = 500;
  const auto packed = pathFacts(joinedPath(common, "packed-refs"));
  const auto folder = openDirectory(joinedPath(common, "refs/tags"));
  if (!reflog.cloned || !packed || packed->modified > *reflog.cloned + timeToWrite || !folder) return {};
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

/// Returns the git folders of submodules below "modules", also of those without a work tree; nullopt with too many or
/// if one cannot be read. Their names are paths.
std::optional<std::vector<std::string>> submodulesIn(const std::string& gitFolder) {
  constexpr std::size_t mostFolders = 1000;
  std::vector<std::string> modules;
  std::vector<std::string> ahead{joinedPath(gitFolder, "modules")};
  for (std::size_t looked = 0; !ahead.empty(); ++looked) {
    const std::string path = std::move(ahead.back());
    ahead.pop_back();
    const auto folder = openDirectory(path);
    if (folder.failure() == std::errc::no_such_file_or_directory) continue;
    if (!folder || looked == mostFolders) return std::nullopt;
    if (pathExists(joinedPath(path, "HEAD"))) {
      modules.push_back(path);
      ahead.push_back(joinedPath(path, "modules"));
      continue;
    }
    DirectoryReader reader;
    reader.start(folder->get());
    for (DirectoryEntry entry; reader.next(entry);) {
      if (entry.type == EntryType::directory) ahead.push_back(joinedPath(path, entry.name));
    }
  }
  return modules;
}

}  // namespace

std::optional<bool> TidraGitMetadataReader::holdsOwnWork(const std::string& repository,
                                                         const RemovalTest& isRemoved) const {
  if (isRemainsOfRepository(repository)) return false;
  if (!git_) return std::nullopt;
  const bool isBare = gitFolderOf(repository) == repository;
  const auto ofBare = isConfigurationBeyondOthersReach(repository) ? std::optional<std::size_t>(0) : std::nullopt;
  const auto changes = isBare ? ofBare : countChanges(repository);
  if (changes && *changes > 0) return true;
  // What needs no configuration is asked nevertheless, unless git failed.
  if (!changes && !isBare && isConfigurationBeyondOthersReach(repository)) return std::nullopt;
  const auto further = holdsFurtherWork(repository, isRemoved);
  return further == false && !changes ? std::nullopt : further;
}

/// Whether there is work besides changes that git sees in the work tree.
std::optional<bool> TidraGitMetadataReader::holdsFurtherWork(const std::string& repository,
                                                             const RemovalTest& isRemoved) const {
  const auto overlooked = overlooksChanges(repository);
  if (!overlooked || *overlooked) return overlooked;
  const auto gitFolder = gitFolderOf(repository);
  const auto common = gitFolder ? commonFolderOf(*gitFolder) : std::make_error_code(std::errc::not_a_directory);
  if (!common) return std::nullopt;
  // The commits of a linked worktree are in its main repository.
  if (*common != *gitFolder && !isRemoved(realPathOrSame(*common))) return false;
  auto asked = submodulesIn(*gitFolder);
  if (!asked) return std::nullopt;
  asked->insert(asked->begin(), repository);
  for (const std::string& each : *asked) {
    const auto unpushed = holdsUnpushedCommits(each, isRemoved);
    if (!unpushed || *unpushed) return unpushed;
  }
  return false;
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

std::optional<bool> TidraGitMetadataReader::holdsUnpushedCommits(const std::string& repository,
                                                                 const RemovalTest& isRemoved) const {
  const auto gitFolder = gitFolderOf(repository);
  const auto reflog = gitFolder ? reflogIn(*gitFolder) : std::nullopt;
  const auto remotes = reflog ? lastingRemotes(repository, isRemoved) : std::nullopt;
  if (!remotes) return std::nullopt;
  std::vector<std::string> pushed{"--not"};
  for (const std::string& name : remotes->names) pushed.push_back("--remotes=" + name);
  pushed.insert(pushed.end(), remotes->commits.begin(), remotes->commits.end());
  const auto isAnyLeft = [&](const std::vector<std::string>& from, const std::vector<std::string>& tags) {
    std::vector<std::string> arguments{"log", "-1", "--pretty=format:%H", "--ignore-missing"};
    for (const auto* part : {&from, &std::as_const(pushed), &tags})
      arguments.insert(arguments.end(), part->begin(), part->end());
    const auto commits = answer(repository, std::move(arguments));
    return commits ? std::optional(!commits->empty()) : std::nullopt;
  };
  if (!reflog->madeHere.empty()) {
    const auto left = isAnyLeft(reflog->madeHere, {});
    if (!left || *left) return left;
  }
  const bool areTagsElsewhere = remotes->areAll && !(remotes->names.empty() && remotes->commits.empty());
  return isAnyLeft({"--all"}, areTagsElsewhere ? tagsOfClone(*gitFolder, *reflog) : std::vector<std::string>{});
}

std::vector<std::optional<bool>> TidraGitMetadataReader::holdOwnWork(const std::vector<std::string>& repositories,
                                                                     const PlaceSet& removed) const {
  std::vector<std::optional<bool>> answers(repositories.size());
  askRepositories(repositories.size(), shouldCancel_, [&](std::size_t i) {
    const std::string itself = realPathOrSame(repositories[i]);
    const auto isRemoved = [&](const std::string& place) {
      return removed.covers(place) || isSameOrInside(place, itself);
    };
    answers[i] = holdsOwnWork(repositories[i], isRemoved);
  });
  return answers;
}

}  // namespace tidra
