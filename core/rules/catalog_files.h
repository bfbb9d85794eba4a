// Rule catalogs from files that people write.
#pragma once

#include <string>
#include <vector>

#include "core/rules/rule_catalog.h"

namespace tidra {

/// Reads and validates a rules file. Throws InputError that names the file.
RuleCatalog loadCatalogFile(const std::string& path);

struct ChosenCatalog {
  RuleCatalog catalog;
  std::vector<std::string> notes;  // ids that no rule has, a sentence each; they are ignored
};

/// The built-in catalog with the rules of each file laid over it, without the disabled ones. Throws InputError for
/// files that cannot be used.
ChosenCatalog makeCatalog(const std::vector<std::string>& rulesFiles, const std::vector<std::string>& disabledRules);

}  // namespace tidra
