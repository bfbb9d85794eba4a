#include "cli/completion_values.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>

#include "cli/cleanup_options.h"
#include "cli/known_settings.h"
#include "cli/scan_options.h"
#include "cli/user_state.h"
#include "core/base/text.h"
#include "core/dispose/freedesktop_trash.h"
#include "core/model/ecosystems.h"
#include "core/model/system_scan_categories.h"
#include "core/platform/mount_table.h"
#include "core/platform/path_text.h"
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

Words ruleWords() {
  Words words;
  const RuleCatalog catalog = makeCatalog({}, {}).catalog;
  for (const auto& rule : catalog.projectRules) words.push_back({rule.id, rule.label});
  for (const auto& rule : catalog.systemRules) words.push_back({rule.id, rule.label});
  return words;
}

Words packWords() {
  Words words;
  for (const RulePack& pack : RulePack::all()) words.push_back({pack.name, pack.covers});
  return words;
}

Words quarantineWords(const Program& program) {
  const TidraPathResolver resolver = makeResolver(std::nullopt, program.environment);
  Words words;
  for (const auto& entry : openQuarantine(std::nullopt, resolver).list().entries) {
    words.push_back({entry.name(), resolver.displayPath(entry.manifest.originalPath)});
  }
  return words;
}

Words trashWords(const Program& program) {
  const TidraPathResolver resolver = makeResolver(std::nullopt, program.environment);
  std::vector<std::string> notes;
  Words words;
  for (const auto& entry : FreedesktopTrash(resolver, mountPoints()).list(currentTime(), notes)) {
    words.push_back({std::string(lastPathComponent(entry.path)), resolver.displayPath(parentPath(entry.path))});
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
    ValueRule{"", "--disable-rule", &ignoringAll<&ruleWords>},
    ValueRule{"rules show", "ID", &ignoringAll<&ruleWords>},
    ValueRule{"rules enable", "NAME", &ignoringAll<&packWords>},
    ValueRule{"rules disable", "NAME", &ignoringAll<&packWords>},
    ValueRule{"quarantine restore", "ENTRY", &ofUser<&quarantineWords>},
    ValueRule{"quarantine purge", "ENTRY", &ofUser<&quarantineWords>},
    ValueRule{"trash restore", "WHAT", &ofUser<&trashWords>},
    ValueRule{"trash purge", "WHAT", &ofUser<&trashWords>},
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
