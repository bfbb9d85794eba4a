// Search for tools. Whoever can write to a program or its folder controls what runs, so that only the user and root
// may.
#include <algorithm>

#include "core/base/text.h"
#include "core/platform/directory_reader.h"
#include "core/platform/files.h"
#include "core/platform/path_text.h"
#include "core/platform/process_runner.h"

namespace tidra {
namespace {

constexpr std::string_view searchedWithoutPath = "/usr/bin:/bin:/usr/local/bin";
constexpr std::string_view usualPlaces = "/opt/homebrew/bin:/usr/local/bin:/usr/bin:/bin:/snap/bin";

/// Whether the resolved folder is owned by the user or root and not world-writable.
bool isTrustedFolder(const std::string& folder) {
  const auto real = realPath(folder);
  if (!real || !isOwnedAndPrivate(*real)) return false;
  const auto facts = pathFacts(*real);
  return facts && facts->type == EntryType::directory;
}

/// Returns the absolute folders to search without duplicates, existing or not.
std::vector<std::string> searchedFolders(const Environment& environment, const std::string& first) {
  const auto path = environment.find("PATH");
  const std::string searched = first + ":" +
                               (path == environment.end() ? std::string(searchedWithoutPath) : path->second) + ":" +
                               std::string(usualPlaces);
  std::vector<std::string> folders;
  for (const std::string_view piece : splitNonEmpty(searched, ':')) {
    if (!piece.starts_with('/')) continue;
    std::string folder(piece);
    if (std::find(folders.begin(), folders.end(), folder) == folders.end()) folders.push_back(std::move(folder));
  }
  return folders;
}

}  // namespace

bool ProcessRunner::isTrusted(const std::string& executable) {
  if (!executable.starts_with('/') || !isExecutableFile(executable)) return false;
  const auto real = realPath(executable);
  return real && isTrustedFolder(parentPath(executable)) && isTrustedFolder(parentPath(*real)) &&
         isOwnedAndPrivate(*real);
}

std::optional<std::string> ProcessRunner::which(const std::string& tool, const Environment& environment) {
  for (const std::string& folder : searchedFolders(environment, {})) {
    std::string candidate = joinedPath(folder, tool);
    if (isTrusted(candidate)) return candidate;
  }
  return std::nullopt;
}

std::string ProcessRunner::safeSearchPath(const Environment& environment, const std::optional<std::string>& first) {
  auto folders = searchedFolders(environment, first.value_or(""));
  std::erase_if(folders, [](const std::string& folder) { return !isTrustedFolder(folder); });
  return joined(folders, ":");
}

}  // namespace tidra
