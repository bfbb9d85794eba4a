#include "core/scan/folder_contents.h"

#include <algorithm>

#include "core/base/text.h"
#include "core/platform/files.h"
#include "core/platform/held_folder.h"
#include "core/platform/path_text.h"
#include "core/scan/exclusion_filter.h"

namespace tidra {
namespace {

constexpr std::size_t mostListedEntries = 4096;

std::vector<FolderEntry> entriesOf(const Outcome<FileDescriptor>& opened) {
  std::vector<FolderEntry> entries;
  if (!opened) return entries;
  DirectoryReader reader;
  reader.start(opened->get());
  for (DirectoryEntry entry; entries.size() < mostListedEntries && reader.next(entry);) {
    entries.push_back({std::string(entry.name), entry.type});
  }
  return entries;
}

}  // namespace

std::vector<FolderEntry> listing(const std::string& folder) { return entriesOf(openDirectory(folder)); }

std::vector<FolderEntry> listing(int folder) { return entriesOf(openSubdirectory(folder, ".")); }

bool vouchesFor(std::uint32_t owner, const std::string& entry) {
  const auto facts = pathFacts(entry);
  return facts && (facts->owner == 0 || facts->owner == runningUser() || facts->owner == owner);
}

bool isInstallable(const std::string& project, const std::string& path,
                   const std::function<bool(const std::string& folder)>& isArtefact) {
  const std::string whole = path.starts_with('/') ? path : joinedPath(project, path);
  if (!followedFacts(whole)) return false;
  const std::string bound = realPathOrSame(project);
  for (std::string folder = realPathOrSame(whole); folder != bound && isSameOrInside(folder, bound);
       folder = parentPath(folder)) {
    if (isArtefact(folder)) return false;
  }
  return true;
}

bool matchesOne(const std::string& name, std::string_view patterns) {
  const auto known = splitNonEmpty(patterns, ' ');
  return std::any_of(known.begin(), known.end(),
                     [&](std::string_view pattern) { return globMatches(std::string(pattern), name.c_str()); });
}

std::string firstMatch(const std::string& folder, const std::vector<FolderEntry>& entries, std::string_view pattern,
                       std::optional<std::uint32_t> owner) {
  const auto slash = pattern.find('/');
  const std::string first(pattern.substr(0, slash));
  const bool isLast = slash == std::string_view::npos;
  if (first == ".." && !isLast) {
    const std::string above = parentPath(folder);
    const auto found = firstMatch(above, listing(above), pattern.substr(slash + 1), owner);
    return found.empty() ? found : joinedPath(first, found);
  }
  for (const FolderEntry& entry : entries) {
    if (isGlob(first) ? !globMatches(first, entry.name.c_str()) : entry.name != first) continue;
    const std::string path = joinedPath(folder, entry.name);
    if (owner && !vouchesFor(*owner, path)) continue;
    if (isLast) return entry.name;
    const auto rest = pattern.substr(slash + 1);
    if (!isGlob(rest)) {
      const std::string below = joinedPath(path, rest);
      if (owner ? vouchesFor(*owner, below) : pathExists(below)) return joinedPath(entry.name, rest);
    } else if (const auto found = firstMatch(path, listing(path), rest, owner); !found.empty()) {
      return joinedPath(entry.name, found);
    }
  }
  return {};
}

std::string firstOf(const std::string& folder, const std::vector<FolderEntry>& entries, std::string_view patterns,
                    std::optional<std::uint32_t> owner) {
  for (const std::string_view pattern : splitNonEmpty(patterns, ' ')) {
    if (auto found = firstMatch(folder, entries, pattern, owner); !found.empty()) return found;
  }
  return {};
}

}  // namespace tidra
