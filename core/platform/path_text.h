// Paths as text: bytes separated by "/". Nothing here touches the disk.
#pragma once

#include <string>
#include <string_view>

namespace tidra {

/// The absolute path without ".", "..", doubled or trailing "/". ".." never climbs above "/". `path` begins with "/".
std::string standardizedPath(std::string_view path);

/// Everything before the last component; "/" for a child of the root and for "/" itself.
std::string parentPath(std::string_view path);

/// The folder of a file as the system finds it: "." for a name without one.
std::string folderOfFile(std::string_view path);

/// The last component; empty for "/".
std::string_view lastPathComponent(std::string_view path);

/// `folder` + "/" + `name` with exactly one "/" between them.
std::string joinedPath(std::string_view folder, std::string_view name);

/// True when `path` equals `folder` or lies below it. Both are standardised.
bool isSameOrInside(std::string_view path, std::string_view folder);

}  // namespace tidra
