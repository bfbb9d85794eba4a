#include "core/scan/folder_contents.h"

#include "core/base/text.h"
#include "core/platform/held_folder.h"
#include "core/platform/path_text.h"
#include "core/scan/exclusion_filter.h"

namespace tidra {
namespace {

constexpr std::size_t mostListedEntries = 4096;

}  // namespace

std::vector<FolderEntry> listing(const std::string& folder) {
  std::vector<FolderEntry> entries;
  const auto opened = openDirectory(folder);
  if (!opened) return entries;
  DirectoryReader reader;
  reader.start(opened->get());
  for (DirectoryEntry entry; entries.size() < mostListedEntries && reader.next(entry);) {
    entries.push_back({std::string(entry.name), entry.type});
  }
  return entries;
}

std::vector<FolderEntry> ownListing(const std::string& folder) {
  auto entries = listing(folder);
  constexpr std::uint32_t everybodyMayWrite = 0002;
  const auto facts = followedFacts(folder);
  if (!facts || (facts->permissions & everybodyMayWrite) == 0) return entries;
  std::erase_if(entries, [&](const FolderEntry& entry) {
    const auto its = pathFacts(joinedPath(folder, entry.name));
    return its && isPlanted(*its, *facts);
  });
  return entries;
}

std::string firstMatch(const std::string& folder, const std::vector<FolderEntry>& entries, std::string_view pattern) {
  const auto slash = pattern.find('/');
  const std::string first(pattern.substr(0, slash));
  for (const FolderEntry& entry : entries) {
    if (isGlob(first) ? !globMatches(first, entry.name.c_str()) : entry.name != first) continue;
    if (slash == std::string_view::npos) return entry.name;
    const std::string below = joinedPath(folder, entry.name);
    const auto rest = pattern.substr(slash + 1);
    if (!isGlob(rest)) {
      if (pathFacts(joinedPath(below, rest))) return joinedPath(entry.name, rest);
    } else if (const auto found = firstMatch(below, listing(below), rest); !found.empty()) {
      return joinedPath(entry.name, found);
    }
  }
  return {};
}

std::string firstOf(const std::string& folder, const std::vector<FolderEntry>& entries, std::string_view patterns) {
  for (const std::string_view pattern : splitNonEmpty(patterns, ' ')) {
    if (auto found = firstMatch(folder, entries, pattern); !found.empty()) return found;
  }
  return {};
}

}  // namespace tidra
