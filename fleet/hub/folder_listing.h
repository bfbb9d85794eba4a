// The documents in a folder of the hub.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tidra {

constexpr std::string_view jsonExtension = ".json";

/// The names of everything, in byte order. Throws std::system_error when the folder cannot be read.
std::vector<std::string> namesIn(const std::string& folder);

/// The names, extension included, of everything that ends with it, in byte order. Throws std::system_error when the
/// folder cannot be read.
std::vector<std::string> jsonFilesIn(const std::string& folder);

/// Removes what a replacing of a document that was cut short has left: the temporary files, ".NAME.json.XXXXXXXX".
void removeLeftTemporaries(const std::string& folder);

}  // namespace tidra
