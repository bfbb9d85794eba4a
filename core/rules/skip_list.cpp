#include "core/rules/skip_list.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "core/base/errors.h"
#include "core/base/text.h"
#include "core/platform/files.h"
#include "core/platform/path_text.h"
#include "core/platform/path_variables.h"

namespace tidra {
namespace {

constexpr const char* whereAllAre = "tidra rules list --skipped shows all.";

std::string_view withoutLastSlashes(std::string_view text) {
  while (text.size() > 1 && text.ends_with('/')) text.remove_suffix(1);
  return text;
}

/// Resolves an entry or a user's text to a path; nullopt for a bare name and for an unknown variable.
std::optional<std::string> pathOf(std::string_view text, const TidraPathResolver& resolver) {
  return SkipList::isPath(text) ? resolver.resolve(text) : std::nullopt;
}

bool areSame(const std::string& entry, const std::string& text, const TidraPathResolver& resolver) {
  if (entry == withoutLastSlashes(text)) return true;
  const auto path = pathOf(entry, resolver);
  return path && path == pathOf(text, resolver);
}

/// Returns the entries that contain the user's path, lie in it or share its name: suggestions for an error message.
std::vector<std::string> nearOnes(const std::string& text, const std::vector<std::string>& entries,
                                  const TidraPathResolver& resolver) {
  const auto wanted = pathOf(text, resolver);
  const std::string_view name = lastPathComponent(withoutLastSlashes(text));
  std::vector<std::string> near;
  for (const std::string& entry : entries) {
    const auto path = pathOf(entry, resolver);
    const bool overlaps = wanted && path && (isSameOrInside(*wanted, *path) || isSameOrInside(*path, *wanted));
    const bool bearsName = !name.empty() && lastPathComponent(withoutLastSlashes(entry)) == name;
    if (!SkipList::canBeUnskipped(entry) || (!overlaps && !bearsName)) continue;
    near.push_back("'" + escapedForTerminal(entry) + "'");
  }
  return near;
}

[[noreturn]] void refuse(const std::string& text, const std::vector<std::string>& entries,
                         const TidraPathResolver& resolver, std::string_view what) {
  const std::string begin = fmt::format("{} '{}'", what, escapedForTerminal(text));
  if (const auto name = unknownVariable(text, resolver)) {
    throw InputError(fmt::format("{} names the variable {}, which is not set or empty.", begin, *name));
  }
  constexpr std::size_t mostNear = 5;
  auto near = nearOnes(text, entries, resolver);
  if (near.empty() || near.size() > mostNear) {
    throw InputError(fmt::format("{} is no entry of the skip list; {}", begin, whereAllAre));
  }
  throw InputError(fmt::format("{} is no entry of the skip list, but {} {}; {}", begin, joined(near, ", "),
                               near.size() == 1 ? "is" : "are", whereAllAre));
}

}  // namespace

bool SkipList::isPath(std::string_view entry) {
  return entry.find('/') != std::string_view::npos || entry.starts_with('~') || entry.starts_with('$');
}

bool SkipList::canBeUnskipped(std::string_view entry) {
  // A repository may contain an artefact's name as an ordinary file name.
  constexpr std::array<std::string_view, 5> kept{".git", ".hg", ".svn", ".tidra", ".tidra-quarantine"};
  return std::find(kept.begin(), kept.end(), lastPathComponent(entry)) == kept.end();
}

std::optional<std::string> SkipList::entryCovering(const std::string& path, const RuleCatalog& catalog,
                                                   TidraPlatform platform, const TidraPathResolver& resolver) {
  const auto real = realPath(path);
  for (const std::string& entry : catalog.walkSkip(platform)) {
    const auto folder = pathOf(entry, resolver);
    if (!folder || !canBeUnskipped(entry)) continue;
    const auto realFolder = realPath(*folder);
    if (isSameOrInside(path, *folder) || (real && realFolder && isSameOrInside(*real, *realFolder))) return entry;
  }
  return std::nullopt;
}

void SkipList::unskip(RuleCatalog& catalog, const std::vector<std::string>& texts, TidraPlatform platform,
                      const TidraPathResolver& resolver, std::string_view what) {
  const std::vector<std::string> entries = catalog.walkSkip(platform);
  for (const std::string& text : texts) {
    const auto isMeant = [&](const std::string& entry) { return areSame(entry, text, resolver); };
    const auto found = std::find_if(entries.begin(), entries.end(), isMeant);
    if (found == entries.end()) refuse(text, entries, resolver, what);
    if (!canBeUnskipped(*found)) {
      throw InputError(fmt::format("{} '{}' must stay skipped: what it holds is never an artefact.", what,
                                   escapedForTerminal(text)));
    }
    for (auto& [key, list] : catalog.walkSkipByPlatform) std::erase_if(list, isMeant);
  }
}

}  // namespace tidra
