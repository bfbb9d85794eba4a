#include "core/scan/git_folder.h"

#include <algorithm>
#include <initializer_list>
#include <string_view>

#include "core/base/byte_units.h"
#include "core/platform/directory_reader.h"
#include "core/platform/files.h"
#include "core/platform/held_folder.h"
#include "core/platform/path_text.h"

namespace tidra {
namespace {

constexpr std::size_t longestPointer = 64_KiB;

/// The path in a file that points to a folder, with exactly the bytes that git uses.
std::string pathIn(std::string_view text) {
  text = text.substr(0, text.find('\0'));
  const auto last = text.find_last_not_of("\r\n");
  return std::string(text.substr(0, last == std::string_view::npos ? 0 : last + 1));
}

std::string resolvedFrom(const std::string& folder, const std::string& path) {
  return path.starts_with('/') ? path : joinedPath(folder, path);
}

/// Whether the file is absent, or only the running user and root can write to it. Its folder is checked apart.
bool isOurFile(const std::string& path) {
  const auto facts = pathFacts(path);
  if (!facts) return facts.failure() == std::errc::no_such_file_or_directory;
  return facts->type == EntryType::regularFile && (facts->owner == 0 || facts->owner == runningUser()) &&
         !isWritableByOthers(path, *facts);
}

bool isOurFolder(const std::string& path) {
  const auto real = realPath(path);
  return real && isBeyondOthersReach(*real);
}

}  // namespace

std::optional<std::string> gitFolderOf(const std::string& repository) {
  const std::string git = joinedPath(repository, ".git");
  const auto facts = followedFacts(git);
  const bool isBare =
      !facts && pathExists(joinedPath(repository, "HEAD")) && pathExists(joinedPath(repository, "objects"));
  if (!facts) return isBare ? std::optional(repository) : std::nullopt;
  if (facts->type == EntryType::directory) return git;
  constexpr std::string_view key = "gitdir: ";
  const auto text = readRegularFile(git, longestPointer);
  if (!text || !text->starts_with(key)) return std::nullopt;
  return resolvedFrom(repository, pathIn(std::string_view(*text).substr(key.size())));
}

Outcome<std::string> commonFolderOf(const std::string& gitFolder) {
  const auto text = readRegularFile(joinedPath(gitFolder, "commondir"), longestPointer);
  if (text) return resolvedFrom(gitFolder, pathIn(*text));
  if (text.failure() == std::errc::no_such_file_or_directory) return gitFolder;
  return text.failure();
}

bool servesUnknownWorkTree(const std::string& repository) {
  return gitFolderOf(repository) == repository && pathExists(joinedPath(repository, "index"));
}

Outcome<std::string> linkBackOf(const std::string& gitFolder) {
  const auto text = readRegularFile(joinedPath(gitFolder, "gitdir"), longestPointer);
  if (!text) return text.failure();
  return resolvedFrom(gitFolder, pathIn(*text));
}

std::string reflogOf(const std::string& gitFolder) { return joinedPath(gitFolder, "logs/HEAD"); }

bool isConfigurationBeyondOthersReach(const std::string& repository) {
  const auto gitFolder = gitFolderOf(repository);
  if (!gitFolder) return false;
  const auto common = commonFolderOf(*gitFolder);
  if (!common || !isOurFolder(repository) || !isOurFolder(*gitFolder) || !isOurFolder(*common)) return false;
  const auto git = pathFacts(joinedPath(repository, ".git"));
  const bool isBare = *gitFolder == repository;
  if (!git && !isBare) return false;
  if (git && git->type == EntryType::regularFile && !isOurFile(joinedPath(repository, ".git"))) return false;
  const auto areOurs = [](const std::string& folder, std::initializer_list<const char*> names) {
    return std::all_of(names.begin(), names.end(),
                       [&](const char* name) { return isOurFile(joinedPath(folder, name)); });
  };
  return areOurs(*gitFolder, {"commondir", "config", "config.worktree"}) &&
         areOurs(*common, {"config", "config.worktree"});
}

}  // namespace tidra
