// The rules that every scan of a user has: packs that are on, files that were added, without those that are off.
#pragma once

#include <string>
#include <vector>

#include "core/platform/path_resolver.h"
#include "core/rules/catalog_files.h"
#include "core/rules/rule_packs.h"

namespace tidra {

/// Returns the folder of the rules files that `tidra rules add` copies; it need not exist.
std::string addedRulesFolder(const TidraPathResolver& resolver);

/// Returns the user's packs, added files and switched off rules. Preferences that cannot be read count as empty: the
/// reader of the exclusions says that.
RuleSources personalRules(const TidraPathResolver& resolver);

/// Returns the packs that are not among these names.
std::vector<const RulePack*> packsBeside(const std::vector<std::string>& names);

}  // namespace tidra
