// Listings of the hub's document folders.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tidra {

constexpr std::string_view jsonExtension = ".json";

/// All names, in byte order. Throws std::system_error when the folder is unreadable.
std::vector<std::string> namesIn(const std::string& folder);

/// The names ending in ".json", in byte order. Throws std::system_error when the folder is unreadable.
std::vector<std::string> jsonFilesIn(const std::string& folder);

/// Removes temporary files of interrupted writes, ".NAME.json.XXXXXXXX".
void removeLeftTemporaries(const std::string& folder);

}  // namespace tidra
