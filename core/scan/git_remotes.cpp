// Which remotes show that commits exist elsewhere. References of a remote say nothing when its repository on this
// machine is gone, is removed together with the commits, or borrows its objects from yet another one.
#include <algorithm>
#include <map>

#include "core/base/text.h"
#include "core/platform/directory_reader.h"
#include "core/platform/files.h"
#include "core/platform/path_text.h"
#include "core/scan/git_folder.h"
#include "core/scan/git_metadata.h"
#include "core/scan/git_questions.h"

namespace tidra {
namespace {

struct RemoteAddress {
  bool isOnServer = false;
  std::string path = {};  // on this machine, as configured
};

/// Addresses of remote helpers ("ext::…") count as a path that does not exist: only the helper knows where they lead.
RemoteAddress parsedAddress(std::string_view url) {
  constexpr std::string_view file = "file://";
  if (url.starts_with(file)) return {.path = std::string(url.substr(file.size()))};
  const auto colon = url.find(':');
  const bool isPath = colon == std::string_view::npos || url.find('/') < colon;
  if (isPath || url.substr(colon).starts_with("::")) return {.path = std::string(url)};
  return {.isOnServer = true};
}

/// Whether a repository, or a bundle, is at this path and stays there.
bool holdsCommitsThatStay(const std::string& path, const RemovalTest& isRemoved) {
  const auto facts = followedFacts(path);
  if (!facts || isRemoved(realPathOrSame(path))) return false;
  if (facts->type == EntryType::regularFile) return true;
  const auto gitFolder = gitFolderOf(path);
  const auto common =
      gitFolder ? commonFolderOf(*gitFolder) : std::make_error_code(std::errc::no_such_file_or_directory);
  return common && pathExists(joinedPath(*common, "HEAD")) && !isRemoved(realPathOrSame(*common)) &&
         !pathExists(joinedPath(*common, "objects/info/alternates"));
}

bool lasts(std::string_view url, const std::string& repository, const RemovalTest& isRemoved) {
  const RemoteAddress address = parsedAddress(url);
  if (address.isOnServer) return true;
  const std::string path = address.path.starts_with('/') ? address.path : joinedPath(repository, address.path);
  return holdsCommitsThatStay(path, isRemoved) || holdsCommitsThatStay(path + ".git", isRemoved);
}

}  // namespace

std::optional<TidraGitMetadataReader::Remotes> TidraGitMetadataReader::lastingRemotes(
    const std::string& repository, const RemovalTest& isRemoved) const {
  constexpr std::string_view start = "remote.";
  constexpr std::string_view end = ".url";
  const auto listed = run(repository, {"config", "-z", "--get-regexp", "^remote\\..*\\.url$"});
  if (listed && listed->status == gitNoMatch && listed->stdout_.empty()) return Remotes{};
  if (!listed || listed->status != 0) return std::nullopt;
  std::map<std::string, bool> known;  // by name: whether all its addresses last
  for (const std::string_view entry : splitNonEmpty(listed->stdout_, '\0')) {
    const auto newline = entry.find('\n');
    const std::string_view key = entry.substr(0, newline);
    if (key.size() <= start.size() + end.size() || newline == std::string_view::npos) continue;
    const std::string name(key.substr(start.size(), key.size() - start.size() - end.size()));
    bool& isLasting = known.try_emplace(name, true).first->second;
    isLasting = isLasting && lasts(entry.substr(newline + 1), repository, isRemoved);
  }
  Remotes remotes;
  remotes.areAll = std::all_of(known.begin(), known.end(), [](const auto& remote) { return remote.second; });
  for (const auto& [name, isLasting] : known) {
    // git takes the name for a pattern, and "a" also for the references of a remote "a/b".
    const bool isPattern = name.find_first_of("*?[\\") != std::string::npos;
    const bool holdsOther = std::any_of(known.begin(), known.end(), [&, &name = name](const auto& other) {
      return !other.second && other.first.starts_with(name + "/");
    });
    if (isLasting && !isPattern && !holdsOther) remotes.names.push_back(name);
  }
  return remotes;
}

}  // namespace tidra
