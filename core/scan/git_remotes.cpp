// Which remotes show that commits exist elsewhere. References of a remote say nothing when one of its repositories on
// this machine is gone, is removed together with the commits, borrows its objects from yet another one, or lost the
// commits.
#include <algorithm>
#include <map>
#include <set>

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

/// Returns the folder with the objects of a repository that is at this path and stays; nullopt if there is none.
std::optional<std::string> lastingAt(const std::string& path, const RemovalTest& isRemoved) {
  if (!pathExists(path) || isRemoved(realPathOrSame(path))) return std::nullopt;
  const auto gitFolder = gitFolderOf(path);
  const auto common =
      gitFolder ? commonFolderOf(*gitFolder) : std::make_error_code(std::errc::no_such_file_or_directory);
  const bool stays = common && pathExists(joinedPath(*common, "HEAD")) && !isRemoved(realPathOrSame(*common)) &&
                     !pathExists(joinedPath(*common, "objects/info/alternates"));
  return stays ? std::optional(*common) : std::nullopt;
}

/// Where the addresses of one remote lead.
struct Addresses {
  bool allLast = true;                          // on servers or in repositories that stay
  std::vector<std::string> onThisMachine = {};  // the folders with objects of the latter

  bool areOnServers() const { return allLast && onThisMachine.empty(); }

  void add(std::string_view url, const std::string& repository, const RemovalTest& isRemoved) {
    const RemoteAddress address = parsedAddress(url);
    if (address.isOnServer) return;
    const std::string path = address.path.starts_with('/') ? address.path : joinedPath(repository, address.path);
    auto folder = lastingAt(path, isRemoved);
    if (!folder) folder = lastingAt(path + ".git", isRemoved);
    allLast = allLast && folder;
    if (folder) onThisMachine.push_back(std::move(*folder));
  }
};

/// The address in a line of "git remote -v" behind the tab, which ends in " (fetch)" or " (push)" and, for partial
/// clones, a filter; empty without one.
std::string_view addressIn(std::string_view text) {
  const auto end = std::string_view(text).rfind(" (");
  return end == std::string_view::npos ? std::string_view() : text.substr(0, end);
}

/// git takes a name for a pattern, and "a" also for the references of a remote "a/b".
bool isPattern(std::string_view name) { return name.find_first_of("*?[\\") != std::string_view::npos; }

}  // namespace

/// Returns which of these commits a repository on this machine has in a branch or tag. None when git
/// fails.
std::vector<std::string> TidraGitMetadataReader::commitsReachableIn(const std::string& gitFolder,
                                                                    const std::vector<std::string>& commits) const {
  const auto ask = [&](std::vector<std::string> arguments, const std::vector<std::string>& further) {
    arguments.insert(arguments.end(), commits.begin(), commits.end());
    arguments.insert(arguments.end(), further.begin(), further.end());
    return answer(gitFolder, std::move(arguments));
  };
  const auto present = ask({"log", "--no-walk=unsorted", "--pretty=format:%H", "--ignore-missing"}, {});
  const auto lost = present ? ask({"log", "--pretty=format:%H", "--ignore-missing"}, {"--not", "--all"}) : std::nullopt;
  if (!lost) return {};
  const auto unreachable = splitNonEmpty(*lost, '\n');
  const std::set<std::string_view> excluded(unreachable.begin(), unreachable.end());
  std::vector<std::string> reachable;
  for (const std::string_view commit : splitNonEmpty(*present, '\n')) {
    if (!excluded.contains(commit)) reachable.emplace_back(commit);
  }
  return reachable;
}

/// Adds the commits of a remote's branches, and of tags, that all its repositories on this machine still have. Returns
/// whether those are all.
bool TidraGitMetadataReader::addCommitsOf(const std::string& remote, const std::vector<std::string>& gitFolders,
                                          const std::string& repository, std::vector<std::string>& commits) const {
  constexpr std::size_t mostReferences = 5000;  // fit a command line
  constexpr const char* peeled = "--format=%(if)%(*objectname)%(then)%(*objectname)%(else)%(objectname)%(end)";
  const auto listed = answer(repository, {"for-each-ref", "--count=" + std::to_string(mostReferences + 1), peeled,
                                          "refs/remotes/" + remote, "refs/tags"});
  if (!listed) return false;
  std::set<std::string> known;
  for (const std::string_view commit : splitNonEmpty(*listed, '\n')) known.emplace(commit);
  std::vector<std::string> left(known.begin(), known.end());
  if (left.size() > mostReferences) return false;
  for (const std::string& each : gitFolders) {
    if (!left.empty()) left = commitsReachableIn(each, left);
  }
  commits.insert(commits.end(), left.begin(), left.end());
  return left.size() >= known.size();
}

std::optional<TidraGitMetadataReader::Remotes> TidraGitMetadataReader::lastingRemotes(
    const std::string& repository, const RemovalTest& isRemoved) const {
  // Opens no connection. Addresses are as git uses them, rewritten as "url.….insteadOf" configures.
  const auto listed = answer(repository, {"remote", "-v"});
  if (!listed) return std::nullopt;
  std::map<std::string, Addresses> known;  // by name
  for (const std::string_view line : splitNonEmpty(*listed, '\n')) {
    const auto tab = line.find('\t');
    // Without an address there may be no tab. A second tab is part of a name or an address.
    const std::string_view address = tab == std::string_view::npos ? std::string_view() : line.substr(tab + 1);
    if (address.find('\t') != std::string_view::npos) return std::nullopt;
    known[std::string(line.substr(0, tab))].add(addressIn(address), repository, isRemoved);
  }
  Remotes remotes{.areAll = true};
  for (const auto& [name, addresses] : known) {
    const std::string prefix = name + "/";
    const bool holdsOther = std::any_of(known.begin(), known.end(), [&](const auto& other) {
      return !other.second.areOnServers() && other.first.starts_with(prefix);
    });
    if (!addresses.allLast || isPattern(name)) {
      remotes.areAll = false;
    } else if (!addresses.areOnServers() || holdsOther) {
      const bool hasAll = !holdsOther && addCommitsOf(name, addresses.onThisMachine, repository, remotes.commits);
      remotes.areAll = remotes.areAll && hasAll;
    } else {
      remotes.names.push_back(name);
    }
  }
  return remotes;
}

}  // namespace tidra
