// Finds folders that contain tracked files: one "git ls-files" per repository, ended once every folder is known to.
#include <map>

#include "core/base/byte_units.h"
#include "core/base/text.h"
#include "core/platform/path_text.h"
#include "core/scan/git_metadata.h"
#include "core/scan/git_questions.h"
#include "core/scan/repository_finder.h"

namespace tidra {
namespace {

/// Longer lists of folders exceed the command line; git then lists all tracked files.
constexpr std::size_t mostArgumentBytes = 64_KiB;

std::string pathWithin(const std::string& repository, const std::string& folder) {
  return folder.substr(repository == "/" ? 1 : repository.size() + 1);
}

/// Parses git's output incrementally: "H ", a path and a NUL per tracked file.
class TrackedOutput {
 public:
  TrackedOutput(const std::string& repository, const std::vector<std::string>& folders) {
    for (const std::string& folder : folders) waiting_.emplace(pathWithin(repository, folder), folder);
  }

  /// Returns true when all folders are found.
  bool take(std::string_view output) {
    while (!waiting_.empty()) {
      const auto end = output.find('\0', taken_);
      if (end == std::string_view::npos) return false;
      note(output.substr(taken_, end - taken_));
      taken_ = end + 1;
    }
    return true;
  }

  std::vector<std::string> found;

 private:
  void note(std::string_view line) {
    constexpr std::size_t tagLength = 2;
    if (line.size() <= tagLength) return;
    const std::string_view file = line.substr(tagLength);
    // A tracked symbolic link in place of a folder, and a submodule, are listed under their own name.
    for (auto end = file.size(); end != std::string_view::npos && end > 0; end = file.rfind('/', end - 1)) {
      const auto holder = waiting_.find(file.substr(0, end));
      if (holder == waiting_.end()) continue;
      found.push_back(holder->second);
      waiting_.erase(holder);
    }
  }

  std::map<std::string, std::string, std::less<>> waiting_;  // by path relative to the repository
  std::size_t taken_ = 0;
};

}  // namespace

std::optional<std::vector<std::string>> TidraGitMetadataReader::trackedAmong(
    const std::string& repository, const std::vector<std::string>& folders) const {
  TrackedOutput output(repository, folders);
  std::vector<std::string> arguments{"--literal-pathspecs", "ls-files", "-t", "-z", "--"};
  std::size_t length = 0;
  for (const std::string& folder : folders) length += folder.size();
  for (const std::string& folder : folders) {
    if (length <= mostArgumentBytes) arguments.push_back(pathWithin(repository, folder));
  }
  const auto text = answer(repository, std::move(arguments), [&](std::string_view part) { return output.take(part); });
  if (!text) return std::nullopt;
  // ProcessRunner may have trimmed the last NUL.
  output.take(*text + '\0');
  return std::move(output.found);
}

TidraGitMetadataReader::Tracked TidraGitMetadataReader::tracked(const std::vector<std::string>& folders) const {
  Tracked answer;
  std::map<std::string, std::vector<std::string>> byRepository;
  RepositoryFinder finder;
  for (const std::string& folder : folders) {
    if (holdsRepository(folder)) {
      answer.held.insert(folder);  // a repository itself
    } else if (const auto repository = finder.of(std::string_view(folder).substr(0, parentPath(folder).size()))) {
      byRepository[std::string(*repository)].push_back(folder);
    }
  }
  std::vector<std::pair<const std::string*, const std::vector<std::string>*>> questions;
  for (const auto& [repository, inside] : byRepository) questions.emplace_back(&repository, &inside);
  std::vector<std::optional<std::vector<std::string>>> answers(questions.size());
  if (git_) {
    askRepositories(questions.size(), shouldCancel_,
                    [&](std::size_t i) { answers[i] = trackedAmong(*questions[i].first, *questions[i].second); });
  }
  for (std::size_t i = 0; i < questions.size(); ++i) {
    auto& target = answers[i] ? answer.held : answer.unknown;
    const auto& source = answers[i] ? *answers[i] : *questions[i].second;
    target.insert(source.begin(), source.end());
  }
  return answer;
}

}  // namespace tidra
