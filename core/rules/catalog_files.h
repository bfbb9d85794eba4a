// Rule catalogs from user files.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "core/base/errors.h"
#include "core/platform/files.h"
#include "core/rules/rule_catalog.h"

namespace tidra {

/// Reads at most so many bytes of the regular file at a path.
using RulesReader = std::function<Outcome<std::string>(const std::string& path, std::size_t mostBytes)>;

/// Reads and validates a rules file. Throws InputError that names it.
RuleCatalog loadCatalogFile(const std::string& path, const RulesReader& read = &readRegularFile);

struct ChosenCatalog {
  RuleCatalog catalog;
  std::optional<RuleCatalog> whole;  // with the disabled ones; absent if none is
  std::vector<std::string> notes;    // one sentence per unknown id in `disabledRules`; such ids are ignored
};

/// Merges the rules of each file into the built-in catalog and drops the disabled ones. Throws InputError for unusable
/// files.
ChosenCatalog makeCatalog(const std::vector<std::string>& rulesFiles, const std::vector<std::string>& disabledRules,
                          const RulesReader& read = &readRegularFile);

}  // namespace tidra
