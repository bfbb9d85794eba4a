#include "cli/left_out.h"

#include <fmt/format.h>

#include <optional>
#include <utility>

#include "cli/known_settings.h"
#include "cli/terminal.h"
#include "core/base/text.h"

namespace tidra {
namespace {

/// By option, by setting, or a default of the command.
std::string filterName(const ScanOptions& options, const std::string& setting, bool isOption) {
  if (options.adopted.contains(setting)) return setting + " of tidra config";
  return isOption ? "--" + setting : fmt::format("--{} safe, the default", setting);
}

std::string filterWithCount(const std::string& name, std::size_t leftOut) {
  return fmt::format("{} ({} left out)", name, counted(leftOut, "artefact", "artefacts"));
}

}  // namespace

std::vector<std::string> filterTexts(const ScanOptions& options, const LeftOutFindings& leftOut) {
  const bool namesEcosystems = !options.ecosystems.empty();
  const std::pair<std::string, std::size_t> counts[]{
      {namesEcosystems ? "--ecosystem" : "ecosystem of tidra config", leftOut.ofEcosystem},
      {"--category", leftOut.ofCategory},
      {filterName(options, "tier", !options.hasDefaultTier), leftOut.ofTier},
      {filterName(options, "min-size", true), leftOut.ofSize},
      {filterName(options, "older-than", true), leftOut.ofAge}};
  std::vector<std::string> texts;
  for (const auto& [name, count] : counts) {
    if (count > 0) texts.push_back(filterWithCount(name, count));
  }
  if (!options.categories.empty() && leftOut.ofCategory == 0) texts.emplace_back("--category");
  // A named folder bounds the search to it anyway.
  const bool looksOutside = !options.last && !options.noSystem && (options.roots.empty() || options.system);
  if (looksOutside && options.categories.empty() && !switchedOff(options.settings.app.systemScanEnabled).empty()) {
    texts.emplace_back("category of tidra config");
  }
  if (!options.disabledRules.empty()) texts.emplace_back("--disable-rule");
  if (!options.last && options.settings.app.disabledRules) {
    texts.push_back(fmt::format("the rules that are on ({} switched off by tidra rules disable)",
                                counted(options.settings.app.disabledRules->size(), "rule is", "rules are")));
  }
  return texts;
}

void noteLeftOut(const ScanOptions& options, const LeftOutFindings& leftOut) {
  const auto texts = filterTexts(options, leftOut);
  if (texts.empty()) return;
  const std::string all = joined(texts, " and ");
  const bool isOfSettings = all.find("of tidra config") != std::string::npos;
  writeNote(fmt::format("Nothing matches {}{}.", all, isOfSettings ? "; --no-config ignores the settings" : ""));
}

}  // namespace tidra
