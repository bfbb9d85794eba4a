// Refuses options that could have no effect or contradict another. Merely superfluous ones, such as --yes with
// --dry-run, are accepted.
#include "cli/option_rules.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>

#include "core/base/errors.h"
#include "core/base/text.h"

namespace tidra {
namespace {

enum class Relation { needs, excludes };

/// `commands`, `options` and `others` are lists joined by "|". Each option needs at least one of `others`, or excludes
/// all of them. "--method=delete" means that value of the option. An empty command is the program.
struct OptionRule {
  std::string_view commands;
  std::string_view options;
  Relation relation;
  std::string_view others;
};

constexpr std::array optionRules{
    OptionRule{"", "--quiet", Relation::excludes, "--verbose"},
    OptionRule{"scan", "--last", Relation::excludes,
               "ROOT|--system|--no-system|--no-projects|--exclude|--rules|--disable-rule|--unskip|--threads|"
               "--one-file-system"},
    OptionRule{
        "ui", "--last", Relation::excludes,
        "ROOT|--system|--no-system|--no-projects|--category|--ecosystem|--tier|--min-size|--older-than|--exclude|"
        "--rules|--disable-rule|--unskip|--threads|--one-file-system"},
    OptionRule{"ui", "--plain", Relation::excludes, "--no-mouse"},
    OptionRule{"scan|clean|plan|ui", "--no-system", Relation::excludes, "--system|--category"},
    OptionRule{"scan|clean|plan|ui", "--no-projects", Relation::excludes,
               "--no-system|--no-evidence|--one-file-system|--unskip"},
    OptionRule{"scan", "--json", Relation::excludes, "--sort"},
    OptionRule{"scan|clean|plan|apply", "--json", Relation::excludes, "--limit"},
    OptionRule{"scan|clean|apply", "--json|--json-lines", Relation::excludes, "--apparent-size"},
    OptionRule{"scan|clean|apply", "--json-lines", Relation::excludes, "--json|--limit|--output"},
    OptionRule{"scan", "--json-lines", Relation::excludes, "--sort|--last"},
    OptionRule{"plan", "--limit", Relation::needs, "--output"},
    OptionRule{"clean", "--quarantine-dir", Relation::needs, "--method=quarantine"},
    OptionRule{"clean", "--include-unlisted", Relation::needs, "--empty-trash|--tier=caution|--tier=warning"},
    OptionRule{"apply", "--allow-any-path", Relation::excludes, "--exclude"},
    OptionRule{"rules list", "--skipped", Relation::excludes, "--json|--disable-rule"},
    OptionRule{"fleet run", "--json", Relation::excludes, "--explain"},
    OptionRule{"hub serve", "--agent-token", Relation::excludes, "--agent-token-file"},
    OptionRule{"hub serve", "--admin-token", Relation::excludes, "--admin-token-file"},
};

bool isGiven(const CLI::App& command, std::string_view text) {
  const auto equals = text.find('=');
  const auto* option = command.get_option_no_throw(std::string(text.substr(0, equals)));
  if (option == nullptr || option->count() == 0) return false;
  if (equals == std::string_view::npos) return true;
  const auto& values = option->results();
  return std::find(values.begin(), values.end(), text.substr(equals + 1)) != values.end();
}

std::string asTyped(std::string_view text) {
  std::string words(text);
  std::replace(words.begin(), words.end(), '=', ' ');
  return words;
}

void check(const CLI::App& command, const OptionRule& rule) {
  const auto others = split(rule.others, '|');
  for (const std::string_view option : split(rule.options, '|')) {
    if (!isGiven(command, option)) continue;
    const auto other = std::find_if(others.begin(), others.end(), [&](auto text) { return isGiven(command, text); });
    if (rule.relation == Relation::excludes && other != others.end()) {
      throw InputError(
          fmt::format("{} and {} cannot be given together; leave one of them out.", asTyped(option), asTyped(*other)));
    }
    if (rule.relation == Relation::needs && other == others.end()) {
      std::vector<std::string> needed;
      needed.reserve(others.size());
      for (const std::string_view text : others) needed.push_back(asTyped(text));
      throw InputError(missingNeed(option, joined(needed, " or ")));
    }
  }
}

void checkCommand(const CLI::App& command, const std::string& name) {
  for (const OptionRule& rule : optionRules) {
    const auto commands = split(rule.commands, '|');
    if (std::find(commands.begin(), commands.end(), name) != commands.end()) check(command, rule);
  }
  for (const CLI::App* subcommand : command.get_subcommands()) {
    checkCommand(*subcommand, name.empty() ? subcommand->get_name() : name + " " + subcommand->get_name());
  }
}

}  // namespace

void checkOptionPairs(const CLI::App& app) { checkCommand(app, ""); }

std::string missingNeed(std::string_view option, std::string_view needed) {
  return fmt::format("{0} needs {1}; add it, or leave {0} out.", option, needed);
}

}  // namespace tidra
