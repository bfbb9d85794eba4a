#include "cli/completion_values.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>

#include "app/state/rule_sources.h"
#include "cli/cleanup_options.h"
#include "cli/known_settings.h"
#include "cli/removal_recorder.h"
#include "cli/removal_runs.h"
#include "cli/scan_options.h"
#include "cli/stored_entries.h"
#include "cli/user_state.h"
#include "core/base/text.h"
#include "core/dispose/freedesktop_trash.h"
#include "core/model/ecosystems.h"
#include "core/model/system_scan_categories.h"
#include "core/platform/mount_table.h"
#include "core/platform/path_text.h"
#include "core/rules/added_rules.h"
#include "core/rules/catalog_files.h"
#include "core/rules/rule_packs.h"

namespace tidra {
namespace {

using Words = std::vector<Completions::Word>;

template <TabledEnum E>
Words wordsOfTable() {
  Words words;
  for (const auto& row : EnumTable<E>::rows) words.push_back({std::string(row.text), ""});
  return words;
}

Words plainWords(std::string_view list) {
  Words words;
  for (const auto word : splitNonEmpty(list, ' ')) words.push_back({std::string(word), ""});
  return words;
}

Words ecosystemWords() {
  Words words;
  for (const auto& each : ecosystemTable) words.push_back({std::string(each.key), std::string(each.name)});
  return words;
}

Words categoryWords() {
  Words words;
  for (const auto& each : systemScanCategoryTable) words.push_back({std::string(each.key), std::string(each.name)});
  return words;
}

/// Of the catalog that the user's scans have: with packs that are on, and added files.
Words ruleWords(const Program& program) {
  Words words;
  const RuleCatalog catalog = makeCatalog(personalRules(makeResolver(std::nullopt, program.environment))).catalog;
  for (const auto& rule : catalog.projectRules) words.push_back({rule.id, rule.label});
  for (const auto& rule : catalog.systemRules) words.push_back({rule.id, rule.label});
  return words;
}

/// The packs that are on, or those that are off.
template <bool areOn>
Words packWords(const Program& program) {
  const auto on = personalRules(makeResolver(std::nullopt, program.environment)).packs;
  Words words;
  for (const RulePack& pack : RulePack::all()) {
    const bool isOn = std::find(on.begin(), on.end(), pack.name) != on.end();
    if (isOn == areOn) words.push_back({pack.name, pack.covers});
  }
  return words;
}

Words enableWords(const Program& program) {
  Words words = packWords<false>(program);
  const auto off = personalRules(makeResolver(std::nullopt, program.environment)).disabledRules;
  for (const std::string& id : off) words.push_back({id, "a rule that is off"});
  return words;
}

Words disableWords(const Program& program) {
  Words words = packWords<true>(program);
  const Words rules = ruleWords(program);
  words.insert(words.end(), rules.begin(), rules.end());
  return words;
}

Words skippedWords(const Program& program) {
  const auto sources = personalRules(makeResolver(std::nullopt, program.environment));
  Words words;
  for (const std::string& folder : makeCatalog(sources).catalog.walkSkip(currentPlatform))
    words.push_back({folder, ""});
  return words;
}

/// The names of added files, and the ids of those that have one rule.
Words addedRulesWords(const Program& program) {
  Words words;
  for (const AddedRules& added : AddedRules::in(addedRulesFolder(makeResolver(std::nullopt, program.environment)))) {
    words.push_back({std::string(lastPathComponent(added.path)), "file"});
    if (!added.catalog || added.catalog->projectRules.size() + added.catalog->systemRules.size() != 1) continue;
    for (const auto& rule : added.catalog->projectRules) words.push_back({rule.id, rule.label});
    for (const auto& rule : added.catalog->systemRules) words.push_back({rule.id, rule.label});
  }
  return words;
}

/// The numbers of the runs in the history; for an undo without those that nothing comes back of.
template <bool isForUndo>
Words removalWords(const Program& program) {
  Words words;
  const auto runs = removalHistory(makeResolver(std::nullopt, program.environment)).load();
  for (std::size_t i = 0; i < runs.size(); ++i) {
    const RemovalRun& run = runs[i];
    const bool movedSome =
        std::any_of(run.items.begin(), run.items.end(), [](const RemovedItem& item) { return item.isMoved(); });
    if (isForUndo && (run.undoneAt || !movedSome)) continue;
    words.push_back({fmt::to_string(i + 1), fmt::format("{}, {}, {}", localMinute(run.at), rawValue(run.command),
                                                        counted(itemCount(run), "item", "items"))});
  }
  return words;
}

Words quarantinedWords(const Program& program) {
  const TidraPathResolver resolver = makeResolver(std::nullopt, program.environment);
  Words words;
  for (const auto& entry : openQuarantine(std::nullopt, resolver).list().entries) {
    const std::string from = resolver.displayPath(entry.manifest.originalPath);
    words.push_back({entry.name(), from});
    words.push_back({from, "in quarantine"});
  }
  return words;
}

Words trashedWords(const Program& program) {
  const TidraPathResolver resolver = makeResolver(std::nullopt, program.environment);
  std::vector<std::string> notes;
  Words words;
  for (const auto& entry : FreedesktopTrash(resolver, mountPoints()).list(currentTime(), notes)) {
    const std::string from =
        entry.originalPath ? resolver.displayPath(*entry.originalPath) : std::string(entry.fault());
    words.push_back({entry.name(), from});
    if (entry.originalPath) words.push_back({from, "in the trash"});
  }
  return words;
}

Words exclusionWords(const Program& program) {
  Words words;
  for (const auto& row : UserState(makeResolver(std::nullopt, program.environment)).exclusions.load()) {
    words.push_back({row.pathDisplay, std::string(rawValue(row.kind))});
  }
  return words;
}

Words settingWords() {
  Words words;
  for (const KnownSetting& setting : knownSettings()) {
    words.push_back({std::string(setting.key), std::string(setting.what)});
  }
  return words;
}

/// The values of the setting that is named before.
Words settingValues(const ValuePlace& place) {
  if (place.before.empty()) return {};
  const std::string& key = place.before.front();
  if (key == "ecosystem") return ecosystemWords();
  if (key == "category") return categoryWords();
  if (key == "tier") return wordsOfTable<ArtifactSafetyTier>();
  if (key == "method") return wordsOfTable<DisposalMethod>();
  if (key == "color") return plainWords("auto always never");
  if (key == "location") return plainWords("home");
  const bool isSwitch = key == "move-to-trash" || key == "empty-trash" || key == "ask-before-scan";
  return isSwitch ? plainWords("true false") : Words{};
}

/// The commands below those that are named before.
Words commandWords(const ValuePlace& place, const CLI::App& app) {
  const CLI::App* command = &app;
  for (const std::string& word : place.before) {
    const auto all = command->get_subcommands([](const CLI::App*) { return true; });
    const auto next = std::find_if(all.begin(), all.end(), [&](const auto* each) { return each->get_name() == word; });
    if (next == all.end()) return {};
    command = *next;
  }
  Words words;
  for (const CLI::App* each : command->get_subcommands([](const CLI::App*) { return true; })) {
    if (!each->get_group().empty()) words.push_back({each->get_name(), each->get_description()});
  }
  return words;
}

struct ValueRule {
  std::string_view command;  // empty: any
  std::string_view name;
  Words (*words)(const ValuePlace&, const CLI::App&, const Program&);
};

template <auto words>
Words ignoringAll(const ValuePlace&, const CLI::App&, const Program&) {
  return words();
}

template <auto words>
Words ofUser(const ValuePlace&, const CLI::App&, const Program& program) {
  return words(program);
}

constexpr std::array valueRules{
    ValueRule{"", "--tier", &ignoringAll<&wordsOfTable<ArtifactSafetyTier>>},
    ValueRule{"", "--method", &ignoringAll<&wordsOfTable<DisposalMethod>>},
    ValueRule{"", "--sort", &ignoringAll<&wordsOfTable<ScanSort>>},
    ValueRule{"", "--color", [](const auto&, const auto&, const auto&) { return plainWords("auto always never"); }},
    ValueRule{"", "--status",
              [](const auto&, const auto&, const auto&) { return plainWords("healthy attention stale"); }},
    ValueRule{"", "--category", &ignoringAll<&categoryWords>},
    ValueRule{"", "--ecosystem", &ignoringAll<&ecosystemWords>},
    ValueRule{"", "--disable-rule", &ofUser<&ruleWords>},
    ValueRule{"rules show", "ID", &ofUser<&ruleWords>},
    ValueRule{"rules remove", "ID", &ofUser<&addedRulesWords>},
    ValueRule{"history", "NUMBER", &ofUser<&removalWords<false>>},
    ValueRule{"undo", "NUMBER", &ofUser<&removalWords<true>>},
    ValueRule{"rules enable", "NAME", &ofUser<&enableWords>},
    ValueRule{"rules disable", "NAME", &ofUser<&disableWords>},
    ValueRule{"", "--unskip", &ofUser<&skippedWords>},
    ValueRule{"quarantine restore", "ENTRY", &ofUser<&quarantinedWords>},
    ValueRule{"quarantine purge", "ENTRY", &ofUser<&quarantinedWords>},
    ValueRule{"trash restore", "WHAT", &ofUser<&trashedWords>},
    ValueRule{"trash purge", "WHAT", &ofUser<&trashedWords>},
    ValueRule{"exclude remove", "TEXT", &ofUser<&exclusionWords>},
    ValueRule{"config get", "KEY", &ignoringAll<&settingWords>},
    ValueRule{"config set", "KEY", &ignoringAll<&settingWords>},
    ValueRule{"config unset", "KEY", &ignoringAll<&settingWords>},
    ValueRule{"config set", "VALUE", [](const auto& place, const auto&, const auto&) { return settingValues(place); }},
    ValueRule{"completions", "SHELL",
              [](const auto&, const auto&, const auto&) { return plainWords("bash zsh fish"); }},
    ValueRule{"policy example", "NAME",
              [](const auto&, const auto&, const auto&) { return plainWords("agent-host developer"); }},
    ValueRule{"help", "COMMAND",
              [](const auto& place, const auto& app, const auto&) { return commandWords(place, app); }},
};

/// By the name of an operand, or by the type of an option.
Completions::Kind kindOf(const ValuePlace& place) {
  const std::string_view type = place.name.starts_with("--") ? std::string_view(place.type) : place.name;
  if (type == "DIR" || type == "ROOT") return Completions::Kind::folders;
  const bool isPlace = type == "FILE" || type == "PATH" || type == "PATTERN" || type == "TEXT" || type == "WHAT";
  return isPlace ? Completions::Kind::files : Completions::Kind::words;
}

}  // namespace

Completions knownValues(const ValuePlace& place, const CLI::App& app, const Program& program) {
  Completions known{.kind = kindOf(place), .words = {}};
  for (const ValueRule& rule : valueRules) {
    if (rule.name != place.name || (!rule.command.empty() && rule.command != place.command)) continue;
    known.kind = Completions::Kind::words;
    try {
      known.words = rule.words(place, app, program);
    } catch (const std::exception&) {
      // Stores that cannot be read offer nothing.
    }
    return known;
  }
  return known;
}

}  // namespace tidra
