#include "fleet/agent/policy/trusted_file.h"

#include <fmt/format.h>

#include "core/base/errors.h"
#include "core/base/text.h"
#include "core/platform/directory_reader.h"
#include "core/platform/files.h"
#include "core/platform/path_text.h"

namespace tidra {
namespace {

/// Whether everybody may rename and replace the entries of a folder.
bool isOpenToAll(const std::string& folder) {
  constexpr std::uint32_t sticky = 01000;
  constexpr std::uint32_t othersWrite = 02;
  const auto facts = pathFacts(folder);
  return facts && (facts->permissions & (sticky | othersWrite)) == othersWrite;
}

}  // namespace

void requireTrustedFile(std::string_view kind, const std::string& path) {
  const auto real = realPath(path);
  if (!real) return;
  const std::string shown = escapedForTerminal(path);
  if (!isOwnedAndPrivate(*real)) {
    throw InputError(fmt::format(
        "{0} '{1}' can be changed by other users, who would decide what is removed; it must belong to you or "
        "root, and 'chmod o-w {1}' keeps others from writing.",
        kind, shown));
  }
  if (const std::string folder = parentPath(*real); isOpenToAll(folder)) {
    throw InputError(fmt::format(
        "{} '{}' can be replaced by other users, who would decide what is removed; 'chmod o-w {}' keeps others from "
        "writing to its folder.",
        kind, shown, escapedForTerminal(folder)));
  }
}

}  // namespace tidra
