// Finds repositories with work that a new clone would not contain: uncommitted changes, untracked files, unpushed
// commits and stashes, also those of submodules. Tags show nothing about a remote unless a clone wrote them.
#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <map>
#include <utility>

#include "core/base/byte_units.h"
#include "core/base/text.h"
#include "core/base/whole_number.h"
#include "core/platform/directory_reader.h"
#include "core/platform/files.h"
#include "core/platform/path_text.h"
#include "core/scan/git_folder.h"
#include "core/scan/git_metadata.h"
#include "core/scan/git_questions.h"
#include "core/scan/git_subfolders.h"

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

/// Combines answers: yes if any is yes, else unknown if any is unknown, else no.
class AnyWork {
 public:
  void add(std::optional<bool> answer) {
    if (!isFound()) answer_ = !answer ? std::nullopt : *answer ? std::optional(true) : answer_;
  }
  bool isFound() const { return answer_ == true; }
  std::optional<bool> answer() const { return answer_; }

 private:
  std::optional<bool> answer_ = false;
};

struct Reflog {
  static constexpr std::size_t mostCommits = 1000;  // fit a command line

  std::vector<std::string> madeHere;  // the last commits that were made here, also those that no branch has
  std::optional<TimePoint> cloned;    // when the repository was cloned; absent without that entry
  bool isWhole = true;                // false: a part could not be read
};

/// A line has the old and the new commit, author, date, zone, a tab and a message. Empty without the file.
Reflog reflogIn(const std::string& gitFolder) {
  constexpr std::size_t longest = 4_MiB;
  Reflog log;
  const auto text = readRegularFile(reflogOf(gitFolder), longest);
  if (!text) log.isWhole = text.failure() == std::errc::no_such_file_or_directory;
  if (!text) return log;
  const auto lines = splitNonEmpty(*text, '\n');
  for (auto line = lines.rbegin(); line != lines.rend(); ++line) {
    const auto tab = line->find('\t');
    const auto fields = splitNonEmpty(line->substr(0, tab), ' ');
    if (fields.size() < 2 || !isObjectName(fields[1])) continue;
    const std::string_view message = tab == std::string_view::npos ? "" : line->substr(tab + 1);
    if (!isMove(message) && log.madeHere.size() < Reflog::mostCommits) log.madeHere.emplace_back(fields[1]);
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

/// Returns the reflogs of a repository and its linked worktrees.
Reflog reflogsOf(const std::string& gitFolder, GitBounds& bounds) {
  Reflog log = reflogIn(gitFolder);
  const auto worktrees = linkedWorktreesOf(gitFolder, bounds);
  log.isWhole = log.isWhole && worktrees;
  if (!worktrees) return log;
  for (const LinkedWorktree& worktree : *worktrees) {
    const Reflog further = reflogIn(worktree.gitFolder);
    log.isWhole = log.isWhole && further.isWhole;
    const std::size_t room = Reflog::mostCommits - std::min(Reflog::mostCommits, log.madeHere.size());
    const auto& commits = further.madeHere;
    log.madeHere.insert(log.madeHere.end(), commits.begin(),
                        commits.begin() + static_cast<std::ptrdiff_t>(std::min(room, commits.size())));
  }
  return log;
}

/// Returns the git folders of all submodules, also those of linked worktrees that are gone; nullopt if unknown.
std::optional<std::vector<std::string>> modulesOf(const std::string& gitFolder, GitBounds& bounds) {
  auto modules = submodulesIn(gitFolder, bounds);
  const auto worktrees = modules ? linkedWorktreesOf(gitFolder, bounds) : std::nullopt;
  if (!worktrees) return std::nullopt;
  for (const LinkedWorktree& worktree : *worktrees) {
    const auto further = submodulesIn(worktree.gitFolder, bounds);
    if (!further) return std::nullopt;
    modules->insert(modules->end(), further->begin(), further->end());
  }
  return modules;
}

}  // namespace

std::optional<bool> TidraGitMetadataReader::holdsOwnWork(const Inside& inside, const RemovalTest& isRemoved) const {
  const std::string& repository = inside.repository;
  if (isRemainsOfRepository(repository)) return false;
  const auto gitFolder = gitFolderOf(repository);
  AnyWork work;
  if (gitFolder) work.add(servesWorktreeOutside(*gitFolder, inside.item));
  if (work.isFound()) return true;
  if (!git_) return std::nullopt;
  if (servesUnknownWorkTree(repository)) work.add(std::nullopt);
  if (gitFolder == repository) {  // bare
    if (!isConfigurationBeyondOthersReach(repository)) work.add(std::nullopt);
  } else {
    const auto changes = countChanges(repository);
    work.add(changes ? std::optional(*changes > 0) : std::nullopt);
  }
  // What needs no configuration is asked even if the changes are unknown.
  if (!work.isFound()) work.add(holdsFurtherWork(inside, isRemoved));
  return work.answer();
}

/// Whether a work tree stays that needs this git folder. It could not be asked any more, nor could its submodules.
std::optional<bool> TidraGitMetadataReader::servesWorktreeOutside(const std::string& gitFolder,
                                                                  const std::string& item) const {
  const auto worktrees = linkedWorktreesOf(gitFolder, *bounds_);
  return worktrees ? std::optional(worktreeOutside(*worktrees, item) != nullptr) : std::nullopt;
}

/// Whether there is work besides changes that git sees in the work tree.
std::optional<bool> TidraGitMetadataReader::holdsFurtherWork(const Inside& inside, const RemovalTest& isRemoved) const {
  const std::string& repository = inside.repository;
  const auto gitFolder = gitFolderOf(repository);
  const auto common = gitFolder ? commonFolderOf(*gitFolder) : std::make_error_code(std::errc::not_a_directory);
  AnyWork work;
  work.add(overlooksChanges(repository));
  if (!common) work.add(std::nullopt);
  // The commits of a linked worktree are in its main repository.
  if (work.isFound() || !common || (*common != *gitFolder && !isRemoved(realPathOrSame(*common)))) return work.answer();
  work.add(holdsUnpushedCommits(repository, isRemoved));
  const auto modules = modulesOf(*gitFolder, *bounds_);
  if (!modules) work.add(std::nullopt);
  for (std::size_t i = 0; modules && i < modules->size() && !work.isFound(); ++i) {
    work.add(servesWorktreeOutside((*modules)[i], inside.item));
    if (!work.isFound()) work.add(holdsUnpushedCommits((*modules)[i], isRemoved));
  }
  return work.answer();
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
  const auto remotes = gitFolder ? lastingRemotes(repository, isRemoved) : std::nullopt;
  if (!remotes) return std::nullopt;
  const Reflog reflog = reflogsOf(*gitFolder, *bounds_);
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
  AnyWork work;
  if (!reflog.isWhole) work.add(std::nullopt);
  if (!reflog.madeHere.empty()) work.add(isAnyLeft(reflog.madeHere, {}));
  if (work.isFound()) return true;
  const bool areTagsElsewhere = remotes->areAll && !(remotes->names.empty() && remotes->commits.empty());
  work.add(isAnyLeft({"--all"}, areTagsElsewhere ? tagsOfClone(*gitFolder, reflog) : std::vector<std::string>{}));
  return work.answer();
}

std::vector<std::optional<bool>> TidraGitMetadataReader::holdOwnWork(const std::vector<Inside>& repositories,
                                                                     const PlaceSet& removed) const {
  std::vector<std::optional<bool>> answers(repositories.size());
  std::atomic<std::size_t> hangs{0};
  std::map<std::string, GitBounds> bounds;  // by item
  for (const Inside& inside : repositories) bounds.try_emplace(inside.item, hangs);
  askRepositories(repositories.size(), shouldCancel_, [&](std::size_t i) {
    Inside inside = repositories[i];
    GitBounds& ofItem = bounds.at(inside.item);
    const std::string itself = realPathOrSame(inside.repository);
    if (inside.item.empty()) inside.item = itself;
    const auto isRemoved = [&](const std::string& place) {
      return removed.covers(place) || isSameOrInside(place, itself);
    };
    answers[i] = boundedBy(ofItem).holdsOwnWork(inside, isRemoved);
  });
  return answers;
}

}  // namespace tidra
