#include "core/scan/git_metadata.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <mutex>
#include <set>
#include <thread>

#include "core/base/byte_units.h"
#include "core/base/record_fields.h"
#include "core/base/text.h"
#include "core/base/whole_number.h"
#include "core/platform/directory_reader.h"
#include "core/platform/files.h"
#include "core/platform/path_text.h"
#include "core/scan/directory_size.h"
#include "core/scan/git_folder.h"
#include "core/scan/git_questions.h"
#include "core/scan/git_subfolders.h"
#include "core/scan/repository_finder.h"

namespace tidra {
namespace {

constexpr char fileSeparator = '\x1C';

/// Overrides of everything in a repository's configuration that could run a program or read unrelated files.
constexpr std::array safeSettings{
    "core.fsmonitor=false",    "core.hooksPath=/dev/null",
    "core.pager=cat",          "core.sshCommand=false",
    "core.askPass=false",      "credential.helper=",
    "diff.external=",          "gpg.program=false",
    "log.showSignature=false", "protocol.allow=never",
    "submodule.recurse=false", "diff.ignoreSubmodules=all",
    "maintenance.auto=false",  "gc.auto=0",
    "log.mailmap=false",       "core.preloadIndex=false",
    "index.threads=1",  // stacks of threads would count as memory
};

Environment safeEnvironment(Environment environment) {
  // GIT_* could redirect git to another repository or make it run a command.
  std::erase_if(environment, [](const auto& variable) { return variable.first.starts_with("GIT_"); });
  environment["GIT_OPTIONAL_LOCKS"] = "1";
  environment["GIT_TERMINAL_PROMPT"] = "0";
  environment["GIT_PAGER"] = "cat";
  environment["GIT_ASKPASS"] = "false";
  environment["GIT_SSH_COMMAND"] = "false";
  environment["GIT_ALLOW_PROTOCOL"] = "none";
  environment["GIT_NO_LAZY_FETCH"] = "1";
  environment["LC_ALL"] = "C";
  return environment;
}

bool ranOutOfMemory(const ProcessRunner::Result& result) {
  if (result.status == 0) return false;
  constexpr std::array signs{"ut of memory", "Cannot allocate memory", "mmap failed"};
  return std::any_of(signs.begin(), signs.end(),
                     [&](const char* sign) { return result.stderr_.find(sign) != std::string::npos; });
}

std::optional<ProcessRunner::Result> runNotingHangs(const ProcessRunner::Command& command, GitBounds* bounds) {
  const auto started = std::chrono::steady_clock::now();
  auto result = ProcessRunner::run(command);
  const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - started;
  if (!result && bounds != nullptr && taken.count() >= command.timeoutSeconds) bounds->noteHang();
  return result;
}

/// The turn of a command that needs much memory. Empty when cancelled while waiting.
std::unique_lock<std::mutex> turnForMuchMemory(const std::function<bool()>& shouldCancel) {
  static std::mutex turns;
  constexpr std::chrono::milliseconds betweenLooks{20};
  std::unique_lock turn(turns, std::defer_lock);
  // Polls: GCC 12's thread sanitizer does not know the timed lock of a std::timed_mutex.
  while (!turn.try_lock()) {
    if (shouldCancel && shouldCancel()) break;
    std::this_thread::sleep_for(betweenLooks);
  }
  return turn;
}

/// Whether a file of git's configuration, "file:" and its path, is the repository's own and not the user's.
bool isOfRepository(const std::string& repository, std::string_view origin) {
  constexpr std::string_view file = "file:";
  if (!origin.starts_with("file:/")) return true;
  const std::string real = realPathOrSame(std::string(origin.substr(file.size())));
  const auto gitFolder = gitFolderOf(repository);
  const auto common =
      gitFolder ? commonFolderOf(*gitFolder) : std::make_error_code(std::errc::no_such_file_or_directory);
  return !common || isSameOrInside(real, realPathOrSame(*gitFolder)) || isSameOrInside(real, realPathOrSame(*common));
}

bool isDirectory(const std::string& path) { return static_cast<bool>(openDirectory(path)); }

}  // namespace

TidraGitMetadataReader::TidraGitMetadataReader(std::optional<std::string> git, TidraPathResolver resolver,
                                               std::function<bool()> shouldCancel)
    : git_(std::move(git)),
      resolver_(std::move(resolver)),
      environment_(safeEnvironment(resolver_.environment)),
      shouldCancel_(std::move(shouldCancel)) {}

std::optional<std::string> TidraGitMetadataReader::findGit(const Environment& environment) {
  for (const char* usual : {"/usr/bin/git", "/opt/homebrew/bin/git", "/usr/local/bin/git"}) {
    if (ProcessRunner::isTrusted(usual)) return usual;
  }
  return ProcessRunner::which("git", environment);
}

std::optional<ProcessRunner::Result> TidraGitMetadataReader::run(const std::string& path,
                                                                 std::vector<std::string> arguments,
                                                                 std::function<bool(std::string_view)> isEnough) const {
  if (bounds_ != nullptr && bounds_->isSpent()) return std::nullopt;
  // Named, not searched for: with an invalid ".git", git would use a repository above it, and a configured work tree is
  // not the one that is meant.
  std::vector<std::string> all{holdsRepository(path) ? "--git-dir=.git" : "--git-dir=.", "--work-tree=."};
  for (const char* setting : safeSettings) all.insert(all.end(), {"-c", setting});
  all.insert(all.end(), std::make_move_iterator(arguments.begin()), std::make_move_iterator(arguments.end()));
  ProcessRunner::Command command{.executablePath = *git_,
                                 .arguments = std::move(all),
                                 .currentDirectory = path,
                                 .environment = environment_,
                                 .timeoutSeconds = commandTimeoutSeconds,
                                 .dataLimitBytes = usualDataBytes,
                                 .shouldCancel = shouldCancel_,
                                 .isEnough = std::move(isEnough)};
  auto result = runNotingHangs(command, bounds_);
  if (!result || !ranOutOfMemory(*result)) return result;
  const auto turn = turnForMuchMemory(shouldCancel_);
  if (!turn) return std::nullopt;
  command.dataLimitBytes = commandDataBytes;
  return runNotingHangs(command, bounds_);
}

TidraGitMetadataReader TidraGitMetadataReader::boundedBy(GitBounds& bounds) const {
  TidraGitMetadataReader bounded = *this;
  bounded.bounds_ = &bounds;
  return bounded;
}

std::optional<std::string> TidraGitMetadataReader::answer(const std::string& path, std::vector<std::string> arguments,
                                                          std::function<bool(std::string_view)> isEnough) const {
  auto result = run(path, std::move(arguments), std::move(isEnough));
  if (!result || result->status != 0) return std::nullopt;
  return std::move(result->stdout_);
}

std::optional<TidraGitMetadataReader::ParsedCommit> TidraGitMetadataReader::parseCommit(std::string_view output) {
  const auto separator = output.find(fileSeparator);
  if (separator == std::string_view::npos) return std::nullopt;
  const auto seconds = wholeNumber(output.substr(0, separator));
  if (!seconds) return std::nullopt;
  return ParsedCommit{timePointAt(*seconds), std::string(output.substr(separator + 1))};
}

std::string TidraGitMetadataReader::statusLine(std::size_t changes) {
  if (changes == 0) return "Clean (no uncommitted changes)";
  return changes == 1 ? "1 uncommitted change" : fmt::format("{} uncommitted changes", changes);
}

std::optional<TidraGitMetadataReader::ParsedCommit> TidraGitMetadataReader::lastCommit(const std::string& path) const {
  const auto output = answer(path, {"log", "-1", std::string("--pretty=format:%ct") + fileSeparator + "%s"});
  return output ? parseCommit(*output) : std::nullopt;
}

/// Returns settings that disable the content filters of a repository, which "git status" would run on changed files.
/// nullopt if they are unknown or cannot be disabled: git must then not read contents. The answer must still hold when
/// git reads the configuration again, so others must not reach it, and it must not include further files.
std::optional<std::vector<std::string>> TidraGitMetadataReader::filterOverrides(const std::string& path) const {
  if (!isConfigurationBeyondOthersReach(path)) return std::nullopt;
  const auto listed = run(path, {"config", "--name-only", "--show-origin", "-z", "--get-regexp",
                                 "^(filter\\..*\\.(clean|smudge|process)|include\\.path|includeif\\..*\\.path)$"});
  std::vector<std::string> overrides;
  if (listed && listed->status == gitNoMatch && listed->stdout_.empty()) return overrides;
  if (!listed || listed->status != 0) return std::nullopt;
  const auto parts = splitNonEmpty(listed->stdout_, '\0');  // pairs of origin and key
  if (parts.size() % 2 != 0) return std::nullopt;
  for (std::size_t i = 0; i < parts.size(); i += 2) {
    const std::string_view key = parts[i + 1];
    if (key.starts_with("include")) {
      if (isOfRepository(path, parts[i])) return std::nullopt;
      continue;
    }
    if (key.find('=') != std::string_view::npos) return std::nullopt;  // "-c" splits at the first "="
    const auto driver = key.substr(0, key.rfind('.'));
    overrides.insert(overrides.end(), {"-c", std::string(key) + "=", "-c", std::string(driver) + ".required=false"});
  }
  return overrides;
}

std::optional<std::size_t> TidraGitMetadataReader::countChanges(const std::string& path) const {
  auto arguments = filterOverrides(path);
  if (!arguments) return std::nullopt;
  // Submodules have their own configuration (and filters), so skip them. Overrides a configuration that hides untracked
  // files.
  arguments->insert(arguments->end(), {"--no-optional-locks", "status", "--porcelain=v1", "--ignore-submodules=all",
                                       "--untracked-files=normal"});
  const auto output = answer(path, std::move(*arguments));
  if (!output) return std::nullopt;
  return splitNonEmpty(*output, '\n').size();
}

ProjectGitMetadata TidraGitMetadataReader::read(const std::string& path, std::uint64_t knownSize) const {
  ProjectGitMetadata metadata = readWithoutSize(path);
  const std::string folder = resolver_.expandedPath(path);
  metadata.totalProjectSizeBytes =
      isDirectory(folder) ? std::max(knownSize, TidraDirectorySizeReader::read(folder).value_or(0)) : knownSize;
  return metadata;
}

ProjectGitMetadata TidraGitMetadataReader::readWithoutSize(const std::string& path) const {
  ProjectGitMetadata metadata;
  const std::string folder = resolver_.expandedPath(path);
  if (!isDirectory(folder)) return metadata;
  metadata.isGitRepo = isRepository(folder);
  if (!metadata.isGitRepo) {
    metadata.lastModified = folderActivity(folder);
    return metadata;
  }
  const auto changes = countChanges(folder);
  metadata.isClean = changes == std::size_t{0};
  metadata.gitStatusLine = changes ? statusLine(*changes) : "Unable to read git status";
  if (auto commit = lastCommit(folder)) {
    metadata.lastCommitDate = commit->date;
    metadata.commitSubject = std::move(commit->subject);
  }
  return metadata;
}

bool TidraGitMetadataReader::isRepository(const std::string& path) const {
  return git_ && pathFacts(joinedPath(path, ".git"));
}

std::optional<TimePoint> TidraGitMetadataReader::lastCommitDate(const std::string& repository) const {
  if (!git_) return latestCommitDate(repository);
  if (!isRepository(repository)) return std::nullopt;
  // Only the date: a subject may be arbitrarily long.
  const auto result = run(repository, {"log", "-1", "--pretty=format:%ct"});
  const auto seconds = result && result->status == 0 ? wholeNumber(result->stdout_) : std::nullopt;
  if (seconds) return timePointAt(*seconds);
  constexpr std::string_view unborn = "does not have any commits yet";
  if (result && result->status == gitFatal && result->stderr_.find(unborn) != std::string::npos) {
    const auto gitFolder = gitFolderOf(repository);
    // With a reflog there were commits: the branch was lost.
    if (!gitFolder || !pathFacts(reflogOf(*gitFolder))) return std::nullopt;
  }
  return latestCommitDate(repository);
}

std::optional<TimePoint> TidraGitMetadataReader::latestCommitDate(const std::string& repository) {
  const auto gitFolder = gitFolderOf(repository);
  if (!gitFolder) return folderActivity(joinedPath(repository, ".git"));
  return std::max(folderActivity(*gitFolder), folderActivity(reflogOf(*gitFolder)));
}

std::optional<TimePoint> TidraGitMetadataReader::folderActivity(const std::string& path) {
  const auto facts = followedFacts(path);
  return facts ? std::optional(facts->modified) : std::nullopt;
}

template <>
constexpr auto fieldsOf<ProjectGitMetadata> = recordFields(
    field("isGitRepo", &ProjectGitMetadata::isGitRepo), field("lastCommitDate", &ProjectGitMetadata::lastCommitDate),
    field("commitSubject", &ProjectGitMetadata::commitSubject), field("isClean", &ProjectGitMetadata::isClean),
    field("gitStatusLine", &ProjectGitMetadata::gitStatusLine),
    field("totalProjectSizeBytes", &ProjectGitMetadata::totalProjectSizeBytes),
    field("lastModified", &ProjectGitMetadata::lastModified));

template struct RecordCodec<ProjectGitMetadata>;

}  // namespace tidra
