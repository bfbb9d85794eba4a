#include "cli/command_rule_packs.h"

#include <fmt/format.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <set>
#include <utility>
#include <vector>

#include "app/state/rule_sources.h"
#include "cli/scan_options.h"
#include "cli/stored_entries.h"
#include "cli/terminal.h"
#include "cli/user_state.h"
#include "core/base/json_fields.h"
#include "core/base/nearest_word.h"
#include "core/base/text.h"
#include "core/rules/added_rules.h"

namespace tidra {
namespace {

struct RuleChangeOptions {
  std::shared_ptr<const std::optional<std::string>> home;
  std::vector<std::string> names;
  std::string text;  // a file or a rule
  bool json = false;
};

using ChangeOptions = std::shared_ptr<RuleChangeOptions>;
using RuleChange = int (*)(const RuleChangeOptions&, const Program&, const TidraPathResolver&);

std::set<std::string> enabledPacks(const TidraPathResolver& resolver) {
  const auto names = personalRules(resolver).packs;
  return {names.begin(), names.end()};
}

std::string packsJson(const std::set<std::string>& enabled) {
  std::vector<std::string> objects;
  for (const RulePack& pack : RulePack::all()) {
    objects.push_back(compactObject([&](JsonObjectWriter& object) {
      object.put("covers", pack.covers)
          .put("isOn", enabled.contains(pack.name))
          .put("name", pack.name)
          .put("title", pack.title);
    }));
  }
  return indentedJson("[" + joined(objects, ",") + "]") + "\n";
}

/// A line a pack; on a terminal what it covers is wrapped beside its name, or below it where there is little room.
std::string packsText(const std::set<std::string>& enabled, const TerminalFacts& terminal) {
  std::size_t width = 0;
  for (const RulePack& pack : RulePack::all()) width = std::max(width, pack.name.size());
  constexpr std::size_t stateWidth = 5;  // "off" and two blanks
  constexpr std::size_t leastRoom = 30;
  const std::size_t used = stateWidth + width + 2;
  const bool isBeside = !terminal.isTerminal || terminal.columns >= used + leastRoom;
  std::string text;
  for (const RulePack& pack : RulePack::all()) {
    const bool isOn = enabled.contains(pack.name);
    std::string line = paddedRight(isOn ? "on" : "off", stateWidth);
    std::string covers = paragraph(shownWords(pack.covers), terminal, isBeside ? used : stateWidth);
    if (isBeside) covers.erase(0, used);
    line += isBeside ? paddedRight(pack.name, width) + "  " : pack.name + '\n';
    text += line + covers;
  }
  return text + paragraph(fmt::format("{} of {} packs are on; tidra rules enable NAME and disable NAME change that.",
                                      enabled.size(), RulePack::all().size()),
                          terminal);
}

int listPacks(const RuleChangeOptions& options, const Program& program, const TidraPathResolver& resolver) {
  const auto enabled = enabledPacks(resolver);
  if (options.json) {
    writeOut(packsJson(enabled));
    return ExitStatus::done;
  }
  writeOut(packsText(enabled, terminalFacts(STDOUT_FILENO, program.options.color, program.environment)));
  return ExitStatus::done;
}

/// The packs that are on, and the rules that are off.
struct Switched {
  std::set<std::string> packs;
  std::set<std::string> offRules;

  explicit Switched(const TidraAppSettings& settings) {
    if (settings.rulePacks) packs.insert(settings.rulePacks->begin(), settings.rulePacks->end());
    if (settings.disabledRules) offRules.insert(settings.disabledRules->begin(), settings.disabledRules->end());
  }

  void storeIn(TidraAppSettings& settings) const {
    settings.rulePacks.reset();
    if (!packs.empty()) settings.rulePacks.emplace(packs.begin(), packs.end());
    settings.disabledRules.reset();
    if (!offRules.empty()) settings.disabledRules.emplace(offRules.begin(), offRules.end());
  }

  /// A pack of another version may be on, and a rule of one be off.
  bool isRule(const std::string& name) const { return RulePack::find(name) == nullptr && !packs.contains(name); }
  bool isOn(const std::string& name) const { return isRule(name) ? !offRules.contains(name) : packs.contains(name); }
  void change(const std::string& name, bool isOn) {
    auto& names = isRule(name) ? offRules : packs;
    if (isOn == (&names == &packs)) {
      names.insert(name);
    } else {
      names.erase(name);
    }
  }
};

std::set<std::string> ruleIDs(const TidraPathResolver& resolver) {
  RuleSources sources = personalRules(resolver);
  sources.disabledRules.clear();
  const RuleCatalog catalog = makeCatalog(sources).catalog;
  std::set<std::string> ids;
  for (const auto& rule : catalog.projectRules) ids.insert(rule.id);
  for (const auto& rule : catalog.systemRules) ids.insert(rule.id);
  return ids;
}

/// Throws InputError for a name that is neither a pack nor a rule.
void requireKnown(const std::vector<std::string>& names, const Switched& now, const TidraPathResolver& resolver) {
  const auto ids = ruleIDs(resolver);
  for (const std::string& name : names) {
    if (!now.isRule(name) || ids.contains(name) || now.offRules.contains(name)) continue;
    std::vector<std::string> known(ids.begin(), ids.end());
    for (const RulePack& pack : RulePack::all()) known.push_back(pack.name);
    const auto nearest = nearestWord(name, known);
    throw InputError(fmt::format("There is no rule or rule pack '{}'; {}", escapedForTerminal(name),
                                 nearest ? fmt::format("did you mean {}?", known[*nearest])
                                         : "tidra rules list and tidra rules packs show them."));
  }
}

int switchAll(const RuleChangeOptions& options, const Program& program, const TidraPathResolver& resolver, bool isOn) {
  UserState state(resolver);
  const Switched before(state.settings.load());
  requireKnown(options.names, before, resolver);
  const bool dry = program.options.dryRun;
  if (!dry) {
    state.requireHome();
    state.settings.change([&](UserSettings& all) {
      Switched now(all.app);
      for (const std::string& name : options.names) now.change(name, isOn);
      now.storeIn(all.app);
    });
  }
  for (const std::string& name : options.names) {
    const bool isNew = before.isOn(name) != isOn;
    if (dry && !isNew) continue;
    writeOut(fmt::format("{} {} {}.\n", escapedForTerminal(name),
                         dry     ? "would be"
                         : isNew ? "is now"
                                 : "was already",
                         isOn ? "on" : "off"));
  }
  return ExitStatus::done;
}

int enable(const RuleChangeOptions& options, const Program& program, const TidraPathResolver& resolver) {
  return switchAll(options, program, resolver, true);
}

int disable(const RuleChangeOptions& options, const Program& program, const TidraPathResolver& resolver) {
  return switchAll(options, program, resolver, false);
}

int addFile(const RuleChangeOptions& options, const Program& program, const TidraPathResolver& resolver) {
  if (!program.options.dryRun) UserState(resolver).requireHome();
  const std::string file = absolutePath(options.text, resolver);
  const AddedRules added = AddedRules::add(file, addedRulesFolder(resolver), program.options.dryRun);
  writeOut(fmt::format("{} {} of every scan, as {}.\n", escapedForTerminal(options.text),
                       program.options.dryRun ? "would be a part" : "is now a part",
                       escapedForTerminal(resolver.displayPath(added.path))));
  writeNotes(added.notes);
  return ExitStatus::done;
}

int removeFileOf(const RuleChangeOptions& options, const Program& program, const TidraPathResolver& resolver) {
  const std::string path = AddedRules::find(options.text, addedRulesFolder(resolver));
  const std::string shown = escapedForTerminal(resolver.displayPath(path));
  if (program.options.dryRun) {
    writeOut(fmt::format("{} would be removed.\n", shown));
    return ExitStatus::done;
  }
  removeFile(path);
  writeOut(fmt::format("{} is removed.\n", shown));
  return ExitStatus::done;
}

CLI::App* addChange(CLI::App& rules, Program& program, const ChangeOptions& options, const char* name, const char* what,
                    RuleChange run) {
  CLI::App* command = rules.add_subcommand(name, what);
  command->callback([&program, options, run] {
    program.command = [&program, options, run] {
      return run(*options, program, makeResolver(*options->home, program.environment));
    };
  });
  return command;
}

}  // namespace

void addRuleChangingCommands(CLI::App& rules, Program& program,
                             std::shared_ptr<const std::optional<std::string>> home) {
  const auto options = std::make_shared<RuleChangeOptions>();
  options->home = std::move(home);
  CLI::App* packs = addChange(rules, program, options, "packs", "Further rules that can be switched on", &listPacks);
  packs->add_flag("--json", options->json, "Print one JSON document");
  packs->footer("Examples:\n  tidra rules packs\n  tidra rules packs --json | jq -r '.[].name'");
  CLI::App* enabling =
      addChange(rules, program, options, "enable", "Switch packs on for every scan, or rules on again", &enable);
  enabling->footer("Examples:\n  tidra rules enable elixir unity\n  tidra rules enable python --dry-run");
  CLI::App* disabling =
      addChange(rules, program, options, "disable", "Switch packs off again, or rules for every scan", &disable);
  disabling->footer("Examples:\n  tidra rules disable unity\n  tidra rules disable node_modules");
  for (CLI::App* command : {enabling, disabling}) {
    command->add_option("NAME", options->names, "Names of packs, or ids of rules")
        ->required()
        ->delimiter(',')
        ->type_name("");
  }
  CLI::App* adding = addChange(rules, program, options, "add", "Use a rules file in every scan", &addFile);
  adding->add_option("FILE", options->text, "The rules file, which is checked and copied")->required()->type_name("");
  adding->footer("Examples:\n  tidra rules add mine.json\n  tidra rules add ~/team/tidra-rules.json");
  CLI::App* removing = addChange(rules, program, options, "remove", "Remove an added file", &removeFileOf);
  removing->alias("rm");
  removing->add_option("ID", options->text, "Its name, or the id of the only rule in it")->required()->type_name("");
  removing->footer("Examples:\n  tidra rules remove mine.json\n  tidra rules remove quarry-cache");
}

}  // namespace tidra
