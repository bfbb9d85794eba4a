// Rule catalogs from files, and the catalog of a scan.
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

/// Reads and validates a rules file. The notes name it; one is on a file that other users can change, which `read` may
/// refuse instead. Throws InputError that names the file.
NotedCatalog loadCatalogFile(const std::string& path, const RulesReader& read = &readRegularFile);

/// What is laid over the built-in rules, in this order.
struct RuleSources {
  std::vector<std::string> packs = {};          // names of rule packs; unknown ones are noted and ignored
  std::optional<std::string> addedFolder = {};  // of the user's own files; what is wrong there is noted and left out
  std::vector<std::string> files = {};          // named for this scan
  std::vector<std::string> disabledRules = {};  // ids that are switched off at the end
};

struct ChosenCatalog {
  RuleCatalog catalog;
  std::optional<RuleCatalog> whole;  // with the disabled ones; absent if none is
  std::vector<std::string> notes;    // a sentence each: unknown packs, ids and keys, files left out or not safe
};

/// Throws InputError for unusable files among `sources.files`, which `read` reads.
ChosenCatalog makeCatalog(const RuleSources& sources, const RulesReader& read = &readRegularFile);

}  // namespace tidra
