// Finds folders that contain tracked files. "git ls-tree" knows those of the checked-out commit and survives a lost or
// shortened index; "git ls-files" knows what was added since, and ends once every folder is known to contain some.
#include <algorithm>
#include <atomic>
#include <map>

#include "core/base/byte_units.h"
#include "core/base/text.h"
#include "core/platform/directory_reader.h"
#include "core/platform/path_text.h"
#include "core/scan/git_folder.h"
#include "core/scan/git_metadata.h"
#include "core/scan/git_questions.h"
#include "core/scan/git_subfolders.h"
#include "core/scan/repository_finder.h"

namespace tidra {
namespace {

/// Longer lists of folders exceed the command line; git then lists all tracked files.
constexpr std::size_t mostArgumentBytes = 64_KiB;

std::string pathWithin(const std::string& repository, const std::string& folder) {
  return folder.substr(repository == "/" ? 1 : repository.size() + 1);
}

/// As parentPath(), as a prefix of `folder`.
std::string_view pathAbove(std::string_view folder) { return folder.substr(0, parentPath(folder).size()); }

/// Parses git's output incrementally: per file a tag ("H ") or, of a commit, mode, type, object and a tab; a path; a
/// NUL.
class TrackedOutput {
 public:
  TrackedOutput(const std::string& repository, const std::vector<std::string>& folders) {
    for (const std::string& folder : folders) waiting_.emplace(pathWithin(repository, folder), folder);
  }

  /// Returns the folders without a tracked file so far, relative to the repository.
  std::vector<std::string> missing() const {
    std::vector<std::string> paths;
    for (const auto& [path, folder] : waiting_) paths.push_back(path);
    return paths;
  }

  void restart() { taken_ = 0; }

  /// `output` is everything since restart(). Returns true when all folders are found.
  bool take(std::string_view output) {
    while (!waiting_.empty()) {
      const auto end = output.find('\0', taken_);
      if (end == std::string_view::npos) return false;
      note(output.substr(taken_, end - taken_));
      taken_ = end + 1;
    }
    return true;
  }

  /// Folders without a tracked file are unknown unless git listed everything.
  TidraGitMetadataReader::Tracked result(bool isComplete) {
    if (!isComplete) {
      for (const auto& [path, folder] : waiting_) found_.unknown.insert(folder);
    }
    return std::move(found_);
  }

 private:
  void note(std::string_view line) {
    constexpr std::size_t tagLength = 2;
    if (line.size() <= tagLength) return;
    const bool isOfCommit = line.front() >= '0' && line.front() <= '9';
    const std::string_view file = line.substr(isOfCommit ? line.find('\t') + 1 : tagLength);
    // A tracked symbolic link in place of a folder, and a submodule, are listed under their own name.
    for (auto end = file.size(); end != std::string_view::npos && end > 0; end = file.rfind('/', end - 1)) {
      const auto holder = waiting_.find(file.substr(0, end));
      if (holder == waiting_.end()) continue;
      found_.held.insert(holder->second);
      waiting_.erase(holder);
    }
  }

  std::map<std::string, std::string, std::less<>> waiting_;  // by path relative to the repository
  std::size_t taken_ = 0;
  TidraGitMetadataReader::Tracked found_;
};

/// Appends paths from `next` on while they fit a command line, at least one; returns the next path.
std::size_t appendPaths(std::vector<std::string>& arguments, const std::vector<std::string>& paths, std::size_t next) {
  std::size_t length = 0;
  do {
    length += paths[next].size();
    arguments.push_back(paths[next++]);
  } while (next < paths.size() && length + paths[next].size() <= mostArgumentBytes);
  return next;
}

/// Returns the folders by the repositories around them. Adds to `answer` those that are repositories themselves, and
/// those with too many around.
std::map<std::string, std::vector<std::string>> foldersByRepository(const std::vector<std::string>& folders,
                                                                    TidraGitMetadataReader::Tracked& answer) {
  std::map<std::string, std::vector<std::string>> byRepository;
  RepositoryFinder finder;
  constexpr std::size_t mostRepositories = 8;  // around one folder
  for (const std::string& folder : folders) {
    if (holdsRepository(folder)) {
      answer.held.insert(folder);
      continue;
    }
    // Also outer ones: a repository made inside a tracked folder does not know what the outer one tracks.
    std::size_t count = 0;
    for (auto around = finder.of(pathAbove(folder)); around; around = finder.of(pathAbove(*around))) {
      if (++count > mostRepositories) answer.unknown.insert(folder);
      if (count > mostRepositories) break;
      byRepository[std::string(*around)].push_back(folder);
      if (*around == "/") break;
    }
  }
  return byRepository;
}

}  // namespace

/// Returns the output of git on those of the paths that the checked-out commit has, empty before the first commit;
/// nullopt when git fails or the commit is lost.
std::optional<std::string> TidraGitMetadataReader::committedAmong(const std::string& repository,
                                                                  const std::vector<std::string>& paths) const {
  std::string output;
  for (std::size_t next = 0; next < paths.size();) {
    std::vector<std::string> arguments{"--literal-pathspecs", "ls-tree", "-z", "HEAD", "--"};
    next = appendPaths(arguments, paths, next);
    const auto result = run(repository, std::move(arguments));
    if (!result) return std::nullopt;
    if (result->status == gitFatal && result->stderr_.find("Not a valid object name HEAD") != std::string::npos) {
      const auto gitFolder = gitFolderOf(repository);
      if (gitFolder && !pathFacts(reflogOf(*gitFolder))) return output;
    }
    if (result->status != 0) return std::nullopt;
    output += result->stdout_ + '\0';
  }
  return output;
}

TidraGitMetadataReader::Tracked TidraGitMetadataReader::trackedAmong(const std::string& repository,
                                                                     const std::vector<std::string>& folders) const {
  TrackedOutput output(repository, folders);
  const auto committed = committedAmong(repository, output.missing());
  if (committed && output.take(*committed)) return output.result(true);
  output.restart();
  std::vector<std::string> arguments{"--literal-pathspecs", "ls-files", "-t", "-z", "--"};
  const auto missing = output.missing();
  const std::size_t allOptions = arguments.size();
  // Without paths, git lists all files.
  if (appendPaths(arguments, missing, 0) < missing.size()) arguments.resize(allOptions);
  const auto text = answer(repository, std::move(arguments), [&](std::string_view part) { return output.take(part); });
  // ProcessRunner may have trimmed the last NUL.
  if (text) output.take(*text + '\0');
  return output.result(committed && text);
}

TidraGitMetadataReader::Tracked TidraGitMetadataReader::tracked(const std::vector<std::string>& folders) const {
  Tracked answer;
  const auto byRepository = foldersByRepository(folders, answer);
  std::vector<std::pair<const std::string*, const std::vector<std::string>*>> questions;
  questions.reserve(byRepository.size());
  for (const auto& [repository, inside] : byRepository) questions.emplace_back(&repository, &inside);
  std::vector<std::optional<Tracked>> answers(questions.size());
  if (git_) {
    std::atomic<std::size_t> hangs{0};
    askRepositories(questions.size(), shouldCancel_, [&](std::size_t i) {
      GitBounds bounds(hangs);
      answers[i] = boundedBy(bounds).trackedAmong(*questions[i].first, *questions[i].second);
    });
  }
  for (std::size_t i = 0; i < questions.size(); ++i) {
    if (answers[i]) {
      answer.held.merge(answers[i]->held);
      answer.unknown.merge(answers[i]->unknown);
    } else {
      answer.unknown.insert(questions[i].second->begin(), questions[i].second->end());
    }
  }
  std::erase_if(answer.unknown, [&](const std::string& folder) { return answer.held.contains(folder); });
  return answer;
}

}  // namespace tidra
