// Entries of folders by name patterns: which marks lie in a folder, which manifests beside it.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/platform/directory_reader.h"

namespace tidra {

struct FolderEntry {
  std::string name;
  EntryType type = EntryType::other;
};

/// Returns the entries of a folder, in a large one the first ones in directory order; empty if it is unreadable.
std::vector<FolderEntry> listing(const std::string& folder);
/// As above for an open folder, whose position stays.
std::vector<FolderEntry> listing(int folder);

/// Whether an entry may show that a tool made a folder: it belongs to the running user, root or the folder's owner.
/// Whoever may change the folder around could otherwise rename somebody else's folder and put a manifest beside it.
[[nodiscard]] bool vouchesFor(std::uint32_t owner, const std::string& entry);

/// Whether a path that a manifest of the project names, absolute or relative, exists and may bring packages back: not
/// what lies in a folder of the project that `isArtefact` accepts, since it would be removed together with them.
[[nodiscard]] bool isInstallable(const std::string& project, const std::string& path,
                                 const std::function<bool(const std::string& folder)>& isArtefact);

/// Whether a name matches one of the patterns, separated by blanks.
[[nodiscard]] bool matchesOne(const std::string& name, std::string_view patterns);

/// Returns the first existing path that matches a pattern of path components; empty if none does. `entries` are those
/// of the folder. With `owner`, only a path that vouches for a folder of this user.
std::string firstMatch(const std::string& folder, const std::vector<FolderEntry>& entries, std::string_view pattern,
                       std::optional<std::uint32_t> owner = {});

/// As firstMatch(), for the first of the patterns, separated by blanks, that matches.
std::string firstOf(const std::string& folder, const std::vector<FolderEntry>& entries, std::string_view patterns,
                    std::optional<std::uint32_t> owner = {});

}  // namespace tidra
