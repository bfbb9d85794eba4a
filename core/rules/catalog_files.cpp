#include "core/rules/catalog_files.h"

#include <fmt/format.h>

#include <algorithm>

#include "core/base/byte_units.h"
#include "core/base/errors.h"
#include "core/base/text.h"

namespace tidra {

RuleCatalog loadCatalogFile(const std::string& path, const RulesReader& read) {
  const std::string subject = fmt::format("Rules file '{}'", escapedForTerminal(path));
  // A rule has a few hundred bytes.
  constexpr std::size_t longest = 64_MiB;
  const auto text = read(path, longest);
  if (!text && text.failure() == std::errc::file_too_large) {
    throw InputError(fmt::format("{} is longer than 64 MiB; name a file with rules.", subject));
  }
  if (!text) throw InputError(unreadableText(subject, "rules", path, text.failure()));
  try {
    return RuleCatalog::load(*text);
  } catch (const std::runtime_error& error) {
    throw InputError(fmt::format("{}: {}", subject, escapedForTerminal(error.what())));
  }
}

ChosenCatalog makeCatalog(const std::vector<std::string>& rulesFiles, const std::vector<std::string>& disabledRules,
                          const RulesReader& read) {
  RuleCatalog catalog = RuleCatalog::builtIn();
  for (const std::string& file : rulesFiles) catalog = catalog.merging(loadCatalogFile(file, read));
  try {
    RuleCatalog::validate(catalog.projectRules, catalog.systemRules);
  } catch (const RuleCatalogError& error) {
    throw InputError(fmt::format("The rules files conflict with the built-in rules: {}", error.what()));
  }
  std::vector<std::string> notes;
  for (const std::string& id : disabledRules) {
    const auto hasId = [&](const auto& rule) { return rule.id == id; };
    if (std::none_of(catalog.projectRules.begin(), catalog.projectRules.end(), hasId) &&
        std::none_of(catalog.systemRules.begin(), catalog.systemRules.end(), hasId)) {
      notes.push_back(fmt::format("No rule has the id '{}', so it disables none; tidra rules list shows all ids.",
                                  escapedForTerminal(id)));
    }
  }
  if (disabledRules.empty()) return {std::move(catalog), std::nullopt, std::move(notes)};
  auto chosen = catalog.removing({disabledRules.begin(), disabledRules.end()});
  return {std::move(chosen), std::move(catalog), std::move(notes)};
}

}  // namespace tidra
