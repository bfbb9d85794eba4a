// "tidra config": the settings that the faces share, and the defaults of the terminal program.
#include <fmt/format.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <memory>
#include <string>
#include <vector>

#include "cli/known_settings.h"
#include "cli/program.h"
#include "cli/scan_options.h"
#include "cli/table.h"
#include "cli/terminal.h"
#include "cli/user_state.h"
#include "core/base/json_fields.h"
#include "core/base/json_writer.h"
#include "core/base/text.h"

namespace tidra {
namespace {

struct ConfigOptions {
  std::string key;
  std::vector<std::string> keys;  // to unset
  std::string value;
  std::optional<std::string> home;
  bool json = false;
};

/// A setting as it is, and where its value comes from.
struct ShownSetting {
  std::string key;
  std::string value;
  std::string usual;  // without settings
  std::string from;
  std::string what;
  std::string overruled;  // "method is delete and wins"; mostly empty
};

/// What overrules a setting; empty if nothing does.
std::string overruledBy(const KnownSetting& setting, const UserSettings& settings) {
  if (setting.key != "move-to-trash" || !settings.terminal.method) return "";
  return fmt::format("method is {} and wins", rawValue(*settings.terminal.method));
}

ShownSetting shownSetting(const KnownSetting& setting, const UserSettings& settings,
                          const TidraPathResolver& resolver) {
  UserSettings without = settings;
  setting.copy(without, UserSettings{});
  const bool isSet = without != settings;
  const bool followsShared = setting.key == "method" && !isSet && !settings.app.moveToTrash;
  return {.key = std::string(setting.key),
          .value = setting.text(settings, resolver),
          .usual = setting.text(UserSettings{}, resolver),
          .from = isSet           ? "settings"
                  : followsShared ? "move-to-trash"
                                  : "default",
          .what = std::string(setting.what),
          .overruled = overruledBy(setting, settings)};
}

std::vector<ShownSetting> shownSettings(const UserSettings& settings, const TidraPathResolver& resolver) {
  std::vector<ShownSetting> all;
  for (const KnownSetting& setting : knownSettings()) all.push_back(shownSetting(setting, settings, resolver));
  return all;
}

std::string settingsJson(const std::vector<ShownSetting>& settings) {
  std::string text = "[";
  for (const ShownSetting& setting : settings) {
    text += text.size() == 1 ? "" : ",";
    text += compactObject([&](JsonObjectWriter& object) {
      object.put("default", setting.usual).put("from", setting.from).put("key", setting.key);
      if (!setting.overruled.empty()) object.put("overruled", setting.overruled);
      object.putBytes("value", setting.value).put("what", setting.what);
    });
  }
  return indentedJson(text + "]") + "\n";
}

int listSettings(const ConfigOptions& options, const Program& program) {
  const TidraPathResolver resolver = makeResolver(options.home, program.environment);
  const auto settings = shownSettings(UserState(resolver).settings.loadAll(), resolver);
  if (options.json) {
    writeOut(settingsJson(settings));
    return ExitStatus::done;
  }
  TextTable table({{"KEY"}, {"VALUE"}, {"DEFAULT"}, {"FROM"}, {"WHAT"}});
  for (const ShownSetting& each : settings) {
    table.add({each.key, escapedForTerminal(each.value), each.usual, each.from,
               each.what + (each.overruled.empty() ? "" : "; " + each.overruled)});
  }
  writeOut(table.text(terminalFacts(STDOUT_FILENO, program.options.color, program.environment)));
  return ExitStatus::done;
}

int getSetting(const ConfigOptions& options, const Program& program) {
  const KnownSetting& setting = knownSetting(options.key);
  const TidraPathResolver resolver = makeResolver(options.home, program.environment);
  writeOut(escapedForTerminal(setting.text(UserState(resolver).settings.loadAll(), resolver)) + "\n");
  return ExitStatus::done;
}

/// Applies `edit` to what is stored, or with --dry-run to a copy, and prints the new value.
int changeSetting(const ConfigOptions& options, const Program& program,
                  const std::function<void(const KnownSetting&, UserSettings&, const TidraPathResolver&)>& edit) {
  const KnownSetting& setting = knownSetting(options.key);
  const TidraPathResolver resolver = makeResolver(options.home, program.environment);
  UserState state(resolver);
  UserSettings settings = state.settings.loadAll();
  edit(setting, settings, resolver);
  if (!program.options.dryRun) {
    state.requireHome();
    state.settings.change([&](UserSettings& stored) {
      edit(setting, stored, resolver);
      settings = stored;
    });
  }
  const ShownSetting now = shownSetting(setting, settings, resolver);
  writeOut(fmt::format("{} {} {}{}.\n", now.key, program.options.dryRun ? "would be" : "is",
                       now.value.empty() ? "not set" : escapedForTerminal(now.value),
                       now.from == "default" && !now.value.empty() ? ", the default" : ""));
  if (!now.overruled.empty()) {
    writeNote(fmt::format("{}: {}; tidra config unset method ends that.", now.key, now.overruled));
  }
  return ExitStatus::done;
}

int setSetting(const ConfigOptions& options, const Program& program) {
  return changeSetting(options, program,
                       [&](const KnownSetting& setting, UserSettings& settings, const auto& resolver) {
                         setting.set(settings, options.value, resolver);
                       });
}

int unsetSettings(const ConfigOptions& options, const Program& program) {
  for (const std::string& key : options.keys) static_cast<void>(knownSetting(key));
  for (const std::string& key : options.keys) {
    ConfigOptions one = options;
    one.key = key;
    changeSetting(one, program, [](const KnownSetting& setting, UserSettings& settings, const auto&) {
      setting.copy(settings, UserSettings{});
    });
  }
  return ExitStatus::done;
}

}  // namespace

void addConfigCommand(CLI::App& app, Program& program) {
  auto options = std::make_shared<ConfigOptions>();
  CLI::App* command = app.add_subcommand("config", "Show and change the settings");
  command->add_option("--home", options->home, "Use DIR as the home folder")->type_name("DIR");
  command->footer(
      "Examples:\n"
      "  tidra config set min-size 10M            leave out what is smaller, in every scan\n"
      "  tidra config set category all,-docker    look at everything but Docker");
  const auto add = [&](const std::string& name, const std::string& what,
                       int (*run)(const ConfigOptions&, const Program&)) {
    CLI::App* subcommand = command->add_subcommand(name, what);
    subcommand->callback(
        [&program, options, run] { program.command = [&program, options, run] { return run(*options, program); }; });
    return subcommand;
  };
  CLI::App* listing =
      add("list", "Every setting with its value, its default and where the value comes from", &listSettings);
  listing->alias("ls");
  listing->add_flag("--json", options->json, "Print one JSON document");
  listing->footer("Examples:\n  tidra config list\n  tidra config list --json");
  CLI::App* getting = add("get", "Print the value of one setting", &getSetting);
  getting->footer("Examples:\n  tidra config get method\n  tidra config get location");
  CLI::App* setting = add("set", "Change a setting", &setSetting);
  setting->footer("Examples:\n  tidra config set method quarantine\n  tidra config set tier safe,caution");
  CLI::App* unsetting = add("unset", "Return settings to their defaults", &unsetSettings);
  unsetting->footer("Examples:\n  tidra config unset method\n  tidra config unset location tier");
  for (CLI::App* each : {getting, setting}) {
    each->add_option("KEY", options->key, "As tidra config list shows it")->required()->type_name("");
  }
  unsetting->add_option("KEY", options->keys, "As tidra config list shows it")->required()->type_name("");
  setting->add_option("VALUE", options->value, "The new value")->required()->type_name("");
  command->callback([&program, options, command] {
    if (command->get_subcommands().empty())
      program.command = [&program, options] { return listSettings(*options, program); };
  });
}

}  // namespace tidra
