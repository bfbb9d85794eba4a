#include "fleet/agent/state_folder.h"

#include <fmt/format.h>

#include "core/base/errors.h"
#include "core/base/text.h"
#include "core/platform/files.h"
#include "core/platform/held_folder.h"

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

}  // namespace tidra
