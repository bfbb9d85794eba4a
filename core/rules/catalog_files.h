// Rule catalogs from user files.
#pragma once

#include <string>
#include <vector>

#include "core/rules/rule_catalog.h"

namespace tidra {

/// Reads and validates a rules file. Throws InputError that names it.
RuleCatalog loadCatalogFile(const std::string& path);

struct ChosenCatalog {
  RuleCatalog catalog;
  std::vector<std::string> notes;  // one sentence per unknown id in `disabledRules`; such ids are ignored
};

/// Merges the rules of each file into the built-in catalog and drops the disabled ones. Throws InputError for unusable
/// files.
ChosenCatalog makeCatalog(const std::vector<std::string>& rulesFiles, const std::vector<std::string>& disabledRules);

}  // namespace tidra
