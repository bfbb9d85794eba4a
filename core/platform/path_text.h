// Paths as text: bytes separated by "/". Nothing here touches the disk.
#pragma once

#include <string>
#include <string_view>

namespace tidra {

/// Removes ".", "..", doubled and trailing "/" from an absolute path. ".." never climbs above "/".
std::string standardizedPath(std::string_view path);

/// Returns everything before the last component; "/" for "/" and its children.
std::string parentPath(std::string_view path);

/// As parentPath(), but "." for a path without "/".
std::string folderOfFile(std::string_view path);

/// Returns the last component; empty for "/".
std::string_view lastPathComponent(std::string_view path);

/// Joins with exactly one "/" in between.
std::string joinedPath(std::string_view folder, std::string_view name);

/// Returns `path` relative to a folder that contains it.
std::string_view pathBelow(std::string_view path, std::string_view folder);

/// Whether `path` equals `folder` or lies below it. Both must be standardised.
bool isSameOrInside(std::string_view path, std::string_view folder);

}  // namespace tidra
