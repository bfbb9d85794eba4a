#include "cli/command_rule_packs.h"

#include <fmt/format.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <set>
#include <utility>
#include <vector>

#include "cli/rule_sources.h"
#include "cli/scan_options.h"
#include "cli/terminal.h"
#include "cli/user_state.h"
#include "core/base/json_fields.h"
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

void requireKnownPacks(const std::vector<std::string>& names) {
  for (const std::string& name : names) {
    if (RulePack::find(name) == nullptr) throw InputError("There is an " + RulePack::unknownText(name));
  }
}

/// Stores which packs are on, after `change` has changed their names.
void changePacks(const TidraPathResolver& resolver, const std::function<void(std::set<std::string>&)>& change) {
  UserState state(resolver);
  state.requireHome();
  state.settings.change([&](UserSettings& all) {
    TidraAppSettings& settings = all.app;
    const auto names = settings.rulePacks.value_or(std::vector<std::string>{});
    std::set<std::string> packs(names.begin(), names.end());
    change(packs);
    settings.rulePacks = {packs.begin(), packs.end()};
    if (packs.empty()) settings.rulePacks.reset();
  });
}

int setPacks(const RuleChangeOptions& options, const Program& program, const TidraPathResolver& resolver, bool isOn) {
  const auto enabled = enabledPacks(resolver);
  // A pack of another version may be on, and has to be switched off then.
  if (isOn) requireKnownPacks(options.names);
  std::vector<std::string> changed;
  for (const std::string& name : options.names) {
    if (!isOn && !enabled.contains(name)) requireKnownPacks({name});
    if (enabled.contains(name) != isOn) changed.push_back(name);
  }
  const char* state = isOn ? "on" : "off";
  if (program.options.dryRun) {
    for (const std::string& name : changed) writeOut(fmt::format("{} would be {}.\n", escapedForTerminal(name), state));
    return ExitStatus::done;
  }
  changePacks(resolver, [&](std::set<std::string>& packs) {
    for (const std::string& name : options.names) {
      if (isOn) packs.insert(name);
      if (!isOn) packs.erase(name);
    }
  });
  for (const std::string& name : options.names) {
    const bool isNew = std::find(changed.begin(), changed.end(), name) != changed.end();
    writeOut(fmt::format("{} {} {}.\n", escapedForTerminal(name), isNew ? "is now" : "was already", state));
  }
  return ExitStatus::done;
}

int enable(const RuleChangeOptions& options, const Program& program, const TidraPathResolver& resolver) {
  return setPacks(options, program, resolver, true);
}

int disable(const RuleChangeOptions& options, const Program& program, const TidraPathResolver& resolver) {
  return setPacks(options, program, resolver, false);
}

int addFile(const RuleChangeOptions& options, const Program& program, const TidraPathResolver& resolver) {
  if (!program.options.dryRun) UserState(resolver).requireHome();
  const std::string file = absolutePath(options.text, resolver);
  const std::string copy = AddedRules::add(file, addedRulesFolder(resolver), program.options.dryRun);
  writeOut(fmt::format("{} {} of every scan, as {}.\n", escapedForTerminal(options.text),
                       program.options.dryRun ? "would be a part" : "is now a part",
                       escapedForTerminal(resolver.displayPath(copy))));
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
  CLI::App* enabling = addChange(rules, program, options, "enable", "Switch packs on, for every scan", &enable);
  enabling->footer("Examples:\n  tidra rules enable elixir unity\n  tidra rules enable python --dry-run");
  CLI::App* disabling = addChange(rules, program, options, "disable", "Switch packs off again", &disable);
  disabling->footer("Examples:\n  tidra rules disable unity\n  tidra rules disable elixir erlang");
  for (CLI::App* command : {enabling, disabling}) {
    command->add_option("NAME", options->names, "Names of packs")->required()->delimiter(',')->type_name("");
  }
  CLI::App* adding = addChange(rules, program, options, "add", "Use a rules file in every scan", &addFile);
  adding->add_option("FILE", options->text, "The rules file, which is checked and copied")->required()->type_name("");
  adding->footer("Examples:\n  tidra rules add mine.json\n  tidra rules add ~/team/tidra-rules.json");
  CLI::App* removing = addChange(rules, program, options, "remove", "Remove an added file", &removeFileOf);
  removing->add_option("ID", options->text, "Its name, or the id of the only rule in it")->required()->type_name("");
  removing->footer("Examples:\n  tidra rules remove mine.json\n  tidra rules remove quarry-cache");
}

}  // namespace tidra
