#include "fleet/agent/state_folder.h"

#include <fmt/format.h>

#include "core/base/errors.h"
#include "core/base/text.h"
#include "core/platform/files.h"
#include "core/platform/held_folder.h"
#include "core/platform/path_text.h"

namespace tidra {

void requireOwnLinks(const std::string& folder, std::string_view what) {
  try {
    holdFolder(folder);
  } catch (const UnsafePathError& error) {
    throw InputError(
        fmt::format("The folder {} for the {} cannot be used: {}.", escapedForTerminal(folder), what, error.what()));
  } catch (const std::system_error&) {
    return;  // missing or unreadable folders are reported when created or opened
  }
}

void makeStateFolder(const std::string& folder, std::string_view what) {
  requireOwnLinks(folder, what);
  try {
    makePrivateFolders(folder);
  } catch (const std::system_error& error) {
    throw InputError(fmt::format("The folder {} for the {} cannot be made: {}.", escapedForTerminal(folder), what,
                                 error.code().message()));
  }
}

std::optional<std::string> StateFile::read(const std::string& path) const {
  auto file = readSecretFile(path, mostBytes);
  if (!file && file.failure() == std::errc::no_such_file_or_directory) return std::nullopt;
  const std::string shown = escapedForTerminal(path);
  if (!file) throw InputError(fmt::format("{} '{}' cannot be read: {}.", what, shown, file.failure().message()));
  if (file->isForeign || file->isExposed || !isOwnedAndPrivate(parentPath(path))) {
    throw InputError(fmt::format("{} '{}' could be changed or read by other users and {}.", what, shown, unused));
  }
  return std::move(file->bytes);
}

}  // namespace tidra
