#include <fmt/format.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>

#include "app/state/rule_sources.h"
#include "cli/command_rule_packs.h"
#include "cli/program.h"
#include "cli/scan_options.h"
#include "cli/scan_view.h"
#include "cli/stored_entries.h"
#include "cli/table.h"
#include "cli/terminal.h"
#include "core/base/json_fields.h"
#include "core/base/text.h"
#include "core/rules/added_rules.h"
#include "core/rules/catalog_files.h"

namespace tidra {
namespace {

struct RulesOptions {
  std::shared_ptr<std::optional<std::string>> home = std::make_shared<std::optional<std::string>>();
  Environment environment;
  std::string color;
  std::vector<std::string> rulesFiles;
  std::vector<std::string> disabledRules;
  std::string id;
  std::string file;
  bool skipped = false;
  bool json = false;
};

/// Returns those of the user; without a home folder there are none.
RuleSources rulesOfUser(const RulesOptions& options) {
  try {
    return personalRules(makeResolver(*options.home, options.environment));
  } catch (const InputError&) {
    if (*options.home) throw;
    return {};
  }
}

RuleCatalog chosenCatalog(const RulesOptions& options) {
  RuleSources sources = rulesOfUser(options);
  sources.files = listedPaths(options.rulesFiles, {});
  sources.disabledRules.insert(sources.disabledRules.end(), options.disabledRules.begin(), options.disabledRules.end());
  ChosenCatalog chosen = makeCatalog(sources);
  for (const std::string& note : chosen.notes) writeNote(note);
  return std::move(chosen.catalog);
}

template <class Rule>
std::string rulesTable(const std::vector<Rule>& rules, const TerminalFacts& terminal) {
  TextTable table(
      {{"ID", false, TextTable::Cut::never}, {"TIER", false, TextTable::Cut::never}, {"ECOSYSTEM"}, {"LABEL"}});
  for (const Rule& rule : rules) {
    table.add({shown(rule.id), std::string(rawValue(rule.tier)), shown(rule.ecosystem), shownWords(rule.label)});
  }
  return table.text(terminal);
}

std::string listText(const RuleCatalog& catalog, const TerminalFacts& terminal) {
  const Style style(terminal.colored);
  return fmt::format("Catalog {}\n\n{}\n{}\n{}\n{}", shown(catalog.catalogVersion),
                     style.bold(fmt::format("Folders of projects ({})", catalog.projectRules.size())),
                     rulesTable(catalog.projectRules, terminal),
                     style.bold(fmt::format("Fixed locations ({})", catalog.systemRules.size())),
                     rulesTable(catalog.systemRules, terminal));
}

/// What tidra rules disable has switched off.
std::string disabledText(const std::vector<std::string>& ids, const TerminalFacts& terminal) {
  if (ids.empty()) return "";
  std::string text = "\n" + Style(terminal.colored).bold(fmt::format("Switched off ({})", ids.size())) + "\n";
  for (const std::string& id : ids) text += shown(id) + "\n";
  return text;
}

int list(const RulesOptions& options) {
  const RuleCatalog catalog = chosenCatalog(options);
  if (options.json) {
    writeOut(prettyJson(catalog) + "\n");
  } else if (options.skipped) {
    for (const std::string& folder : catalog.walkSkip(currentPlatform)) writeOut(escapedForTerminal(folder) + "\n");
  } else {
    const TerminalFacts terminal = terminalFacts(STDOUT_FILENO, options.color, options.environment);
    writeOut(listText(catalog, terminal) + disabledText(rulesOfUser(options).disabledRules, terminal));
  }
  return ExitStatus::done;
}

/// The rule with this id as JSON; none without such a rule.
template <class Rule>
std::optional<std::string> ruleJson(const std::vector<Rule>& rules, const std::string& id) {
  const auto found = std::find_if(rules.begin(), rules.end(), [&](const Rule& rule) { return rule.id == id; });
  if (found == rules.end()) return std::nullopt;
  return prettyJson(*found);
}

int show(const RulesOptions& options) {
  const RuleCatalog catalog = chosenCatalog(options);
  auto text = ruleJson(catalog.projectRules, options.id);
  if (!text) text = ruleJson(catalog.systemRules, options.id);
  if (!text) {
    throw InputError(
        fmt::format("No rule has the id '{}'; tidra rules list shows them.", escapedForTerminal(options.id)));
  }
  writeOut(*text + "\n");
  return ExitStatus::done;
}

/// Checks the files that were added.
int checkAdded(const RulesOptions& options) {
  const TidraPathResolver resolver = makeResolver(*options.home, options.environment);
  const auto files = AddedRules::in(addedRulesFolder(resolver));
  bool isRight = true;
  for (const AddedRules& added : files) {
    isRight = isRight && added.catalog;
    const std::string shown = escapedForTerminal(resolver.displayPath(added.path));
    writeOut(added.catalog ? fmt::format("{} is right.\n", shown) : fmt::format("{}\n", added.fault));
    writeNotes(added.notes);
  }
  if (files.empty()) writeOut("No rules files were added; tidra rules add FILE adds one.\n");
  return isRight ? ExitStatus::done : ExitStatus::badInput;
}

int check(const RulesOptions& options) {
  if (options.file.empty()) return checkAdded(options);
  const auto [catalog, notes] = loadCatalogFile(options.file);
  writeOut(fmt::format("{} is a valid catalog: {} and {}, version {}.\n", escapedForTerminal(options.file),
                       counted(catalog.projectRules.size(), "project rule", "project rules"),
                       counted(catalog.systemRules.size(), "system rule", "system rules"),
                       escapedForTerminal(catalog.catalogVersion)));
  writeNotes(notes);
  return ExitStatus::done;
}

using Options = std::shared_ptr<RulesOptions>;

void choose(CLI::App* subcommand, Program& program, const Options& options, int (*run)(const RulesOptions&)) {
  subcommand->callback([&program, options, run] {
    program.command = [&program, options, run] {
      options->environment = program.environment;
      options->color = program.options.color;
      return run(*options);
    };
  });
}

void addCatalogOptions(CLI::App* subcommand, const Options& options) {
  subcommand->add_option("--rules", options->rulesFiles, "Overlay the built-in rules with those of a file")
      ->allow_extra_args(false)
      ->type_name("FILE");
  subcommand->add_option("--disable-rule", options->disabledRules, "Switch rules off by id")
      ->delimiter(',')
      ->allow_extra_args(false)
      ->type_name("ID");
}

void addList(CLI::App* command, Program& program, const Options& options) {
  CLI::App* listing = command->add_subcommand("list", "All rules, a line each");
  addCatalogOptions(listing, options);
  listing->add_flag("--skipped", options->skipped, "The folders that scans never enter instead");
  listing->add_flag("--json", options->json, "Print one JSON document");
  listing->alias("ls");
  listing->footer("Examples:\n  tidra rules list\n  tidra rules list --rules mine.json");
  choose(listing, program, options, &list);
}

void addShow(CLI::App* command, Program& program, const Options& options) {
  CLI::App* showing = command->add_subcommand("show", "One rule as JSON");
  addCatalogOptions(showing, options);
  showing->add_option("ID", options->id, "The rule's id")->required()->type_name("");
  showing->footer("Examples:\n  tidra rules show node_modules\n  tidra rules show npm-cache");
  choose(showing, program, options, &show);
}

void addCheck(CLI::App* command, Program& program, const Options& options) {
  CLI::App* checking = command->add_subcommand("check", "Whether a rules file can be used");
  checking->add_option("FILE", options->file, "The rules file; without it, those that were added")->type_name("");
  checking->footer("Examples:\n  tidra rules check mine.json\n  tidra rules check");
  choose(checking, program, options, &check);
}

void addExport(CLI::App* command, Program& program, const Options& options) {
  CLI::App* exporting = command->add_subcommand("export", "The whole catalog as JSON, to start a rules file from");
  addCatalogOptions(exporting, options);
  exporting->footer(
      "Examples:\n  tidra rules export > mine.json\n  tidra rules export --rules team.json | jq .walkSkip");
  choose(exporting, program, options, [](const RulesOptions& given) {
    RulesOptions asJson = given;
    asJson.json = true;
    return list(asJson);
  });
}

}  // namespace

void addRulesCommand(CLI::App& app, Program& program) {
  const auto options = std::make_shared<RulesOptions>();
  CLI::App* command = app.add_subcommand("rules", "Show and change what scans look for");
  command->footer(
      "Examples:\n"
      "  tidra rules show node_modules    one rule, as in the catalog\n"
      "  tidra rules enable elixir unity  find what these make, too");
  command->add_option("--home", *options->home, "Use DIR as the home folder")->type_name("DIR");
  addList(command, program, options);
  addShow(command, program, options);
  addCheck(command, program, options);
  addExport(command, program, options);
  addRuleChangingCommands(*command, program, options->home);
  command->callback([&program, options, command] {
    if (command->get_subcommands().empty()) {
      program.command = [&program, options] {
        options->environment = program.environment;
        options->color = program.options.color;
        return list(*options);
      };
    }
  });
}

}  // namespace tidra
