#include "core/platform/path_text.h"

#include <vector>

#include "core/base/text.h"

namespace tidra {

std::string standardizedPath(std::string_view path) {
  std::vector<std::string_view> kept;
  for (const std::string_view piece : splitNonEmpty(path, '/')) {
    if (piece == ".") continue;
    if (piece != "..") {
      kept.push_back(piece);
    } else if (!kept.empty()) {
      kept.pop_back();
    }
  }
  std::string standardized;
  for (const std::string_view piece : kept) {
    standardized += '/';
    standardized += piece;
  }
  return standardized.empty() ? "/" : standardized;
}

std::string parentPath(std::string_view path) {
  const auto slash = path.rfind('/');
  if (slash == std::string_view::npos || slash == 0) return "/";
  return std::string(path.substr(0, slash));
}

std::string folderOfFile(std::string_view path) {
  return path.find('/') == std::string_view::npos ? "." : parentPath(path);
}

std::string_view lastPathComponent(std::string_view path) {
  const auto slash = path.rfind('/');
  return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

std::string joinedPath(std::string_view folder, std::string_view name) {
  std::string path;
  path.reserve(folder.size() + 1 + name.size());
  path = folder;
  if (!path.ends_with('/')) path += '/';
  path += name;
  return path;
}

std::string_view pathBelow(std::string_view path, std::string_view folder) {
  path.remove_prefix(folder == "/" ? 0 : folder.size());
  while (path.starts_with('/')) path.remove_prefix(1);
  return path;
}

bool isSameOrInside(std::string_view path, std::string_view folder) {
  if (folder == "/") return true;
  return path.starts_with(folder) && (path.size() == folder.size() || path[folder.size()] == '/');
}

}  // namespace tidra
