#include "core/rules/catalog_files.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>

#include "core/base/byte_units.h"
#include "core/base/errors.h"
#include "core/base/text.h"
#include "core/platform/trusted_file.h"
#include "core/rules/added_rules.h"
#include "core/rules/rule_packs.h"

namespace tidra {

namespace {

/// Adds a sentence if others than the running user and root can change or replace a file.
void noteOthersAccess(const std::string& path, std::vector<std::string>& notes) {
  try {
    // Only who may change the file matters here, so the outcome of reading, which the limit of 0 bytes ends, is
    // ignored.
    (void)readTrustedFile("Rules file", path, 0);
  } catch (const InputError& error) {
    notes.emplace_back(error.what());
  }
}

}  // namespace

NotedCatalog loadCatalogFile(const std::string& path, const RulesReader& read) {
  const std::string subject = fmt::format("Rules file '{}'", escapedForTerminal(path));
  // A rule has a few hundred bytes.
  constexpr std::size_t longest = 64_MiB;
  const auto text = read(path, longest);
  if (!text && text.failure() == std::errc::file_too_large) {
    throw InputError(fmt::format("{} is longer than 64 MiB; name a file with rules.", subject));
  }
  if (!text) throw InputError(unreadableText(subject, "rules", path, text.failure()));
  try {
    NotedCatalog noted = RuleCatalog::loadNoted(*text);
    for (std::string& note : noted.notes) note = fmt::format("{}: {}", subject, note);
    noteOthersAccess(path, noted.notes);
    return noted;
  } catch (const std::runtime_error& error) {
    throw InputError(fmt::format("{}: {}", subject, escapedForTerminal(error.what())));
  }
}

namespace {

/// Lays rules over a catalog. Throws RuleCatalogError when they do not fit, and then changes nothing.
void layOver(RuleCatalog& catalog, const RuleCatalog& overlay) {
  RuleCatalog merged = catalog.merging(overlay);
  RuleCatalog::validate(merged.projectRules, merged.systemRules);
  catalog = std::move(merged);
}

void layPacks(ChosenCatalog& chosen, const std::vector<std::string>& names) {
  const std::set<std::string> wanted(names.begin(), names.end());
  for (const std::string& name : wanted) {
    if (const RulePack* pack = RulePack::find(name)) {
      chosen.catalog = chosen.catalog.withPack(pack->catalog);
    } else {
      chosen.notes.push_back(fmt::format("The settings name an {}", RulePack::unknownText(name)));
    }
  }
}

void layAdded(ChosenCatalog& chosen, const std::string& folder) {
  for (AddedRules& added : AddedRules::in(folder)) {
    try {
      if (added.catalog) layOver(chosen.catalog, *added.catalog);
    } catch (const RuleCatalogError& error) {
      added.fault = fmt::format("Rules file '{}' conflicts with other rules: {}", escapedForTerminal(added.path),
                                escapedForTerminal(error.what()));
    }
    chosen.notes.insert(chosen.notes.end(), added.notes.begin(), added.notes.end());
    if (added.fault.empty()) continue;
    chosen.notes.push_back(added.fault + (added.fault.ends_with('.') ? "" : ".") + " It is left out.");
  }
}

}  // namespace

ChosenCatalog makeCatalog(const RuleSources& sources, const RulesReader& read) {
  ChosenCatalog chosen{RuleCatalog::builtIn(), std::nullopt, {}};
  layPacks(chosen, sources.packs);
  if (sources.addedFolder) layAdded(chosen, *sources.addedFolder);
  for (const std::string& file : sources.files) {
    const NotedCatalog loaded = loadCatalogFile(file, read);
    chosen.catalog = chosen.catalog.merging(loaded.catalog);
    chosen.notes.insert(chosen.notes.end(), loaded.notes.begin(), loaded.notes.end());
  }
  try {
    RuleCatalog::validate(chosen.catalog.projectRules, chosen.catalog.systemRules);
  } catch (const RuleCatalogError& error) {
    throw InputError(fmt::format("The rules files conflict with the built-in rules: {}", error.what()));
  }
  for (const std::string& id : sources.disabledRules) {
    if (chosen.catalog.hasRule(id)) continue;
    chosen.notes.push_back(fmt::format("No rule has the id '{}', so it disables none; tidra rules list shows all ids.",
                                       escapedForTerminal(id)));
  }
  if (sources.disabledRules.empty()) return chosen;
  chosen.whole = chosen.catalog;
  chosen.catalog = chosen.catalog.removing({sources.disabledRules.begin(), sources.disabledRules.end()});
  return chosen;
}

}  // namespace tidra
