#include "fleet/agent/state_folder.h"

#include <fmt/format.h>

#include "core/base/errors.h"
#include "core/base/text.h"
#include "core/platform/files.h"
#include "core/platform/held_folder.h"

namespace tidra {
namespace {

/// What is there already is looked at link by link; what is missing or closed is told by whoever makes or opens it.
void requireOwnLinks(const std::string& folder) {
  try {
    holdFolder(folder);
  } catch (const std::system_error&) {
    return;
  }
}

}  // namespace

void makeStateFolder(const std::string& folder, std::string_view what) {
  const std::string shown = escapedForTerminal(folder);
  try {
    requireOwnLinks(folder);
    makePrivateFolders(folder);
  } catch (const UnsafePathError& error) {
    throw InputError(fmt::format("The folder {} for the {} cannot be used: {}.", shown, what, error.what()));
  } catch (const std::system_error& error) {
    throw InputError(fmt::format("The folder {} for the {} cannot be made: {}.", shown, what, error.code().message()));
  }
}

}  // namespace tidra
