// The folders that walks never enter, and how users and policies remove entries from that list.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/platform/path_resolver.h"
#include "core/rules/rule_catalog.h"

namespace tidra {

struct SkipList {
  /// Whether an entry is a path; a bare name skips every folder of that name.
  static bool isPath(std::string_view entry);

  /// False for Tidra's own folders and repositories: their contents are never artefacts.
  static bool canBeUnskipped(std::string_view entry);

  /// Returns the first removable entry that covers a path, as written or with symbolic links resolved; nullopt if none
  /// does.
  static std::optional<std::string> entryCovering(const std::string& path, const RuleCatalog& catalog,
                                                  TidraPlatform platform, const TidraPathResolver& resolver);

  /// Removes entries from a catalog's skip list. Each text is an entry as listed or an equivalent path. Throws
  /// InputError that begins with `what` for texts that match no entry of the platform and for entries that must stay.
  static void unskip(RuleCatalog& catalog, const std::vector<std::string>& texts, TidraPlatform platform,
                     const TidraPathResolver& resolver, std::string_view what);
};

}  // namespace tidra
