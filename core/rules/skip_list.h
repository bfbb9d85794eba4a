// The folders that walks never enter, and how a person or a policy takes entries out of that list.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/platform/path_resolver.h"
#include "core/rules/rule_catalog.h"

namespace tidra {

struct SkipList {
  /// True for an entry that is a path; false for a bare name, which skips every folder of that name.
  static bool isPath(std::string_view entry);

  /// False for Tidra's own folders and for repositories: what is in them is never an artefact, whatever its name.
  static bool canBeUnskipped(std::string_view entry);

  /// The first entry of a catalog for a platform that covers a path by itself or with its links resolved, and that can
  /// be taken out; none when there is none.
  static std::optional<std::string> entryCovering(const std::string& path, const RuleCatalog& catalog,
                                                  TidraPlatform platform, const TidraPathResolver& resolver);

  /// Takes entries out of a catalog's skip list. Each text spells an entry as the list does or is the path that one
  /// means. Throws InputError, one sentence that begins with `what`, for a text that is no entry of the platform's list
  /// or one that must stay.
  static void unskip(RuleCatalog& catalog, const std::vector<std::string>& texts, TidraPlatform platform,
                     const TidraPathResolver& resolver, std::string_view what);
};

}  // namespace tidra
