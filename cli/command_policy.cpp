#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <limits>
#include <memory>

#include "cli/policy_file.h"
#include "cli/program.h"
#include "cli/scan_options.h"
#include "cli/terminal.h"
#include "core/base/json_fields.h"
#include "core/base/text.h"
#include "core/platform/directory_reader.h"
#include "core/platform/files.h"
#include "core/platform/host.h"
#include "fleet/agent/evaluation/policy_catalog.h"
#include "fleet/agent/evaluation/resolved_policy.h"
#include "fleet/agent/policy/example_policies.h"
#include "fleet/http/url.h"

namespace tidra {
namespace {

struct PolicyOptions {
  std::string file;
  std::optional<std::string> home;
  std::string example;
  bool json = false;
};

/// The result of `check`.
struct CheckedPolicy {
  FleetPolicy policy;
  ResolvedPolicy resolved;
  std::optional<std::string> hubUrl;  // absent: no reports
  HubToken token;
  std::vector<std::string> undated;  // categories of which nothing can go
};

void noteAbsentRoots(const ResolvedPolicy& resolved) {
  for (const std::string& root : resolved.roots) {
    if (const auto facts = followedFacts(root); !facts) {
      writeNote(fmt::format("Root '{}' cannot be scanned: {}.", escapedForTerminal(root), facts.failure().message()));
    }
  }
}

void noteExposedToken(const FleetPolicy& policy, const std::string& file) {
  if (!policy.hub.token || policy.hub.token->empty()) return;
  if (const auto bytes = readSecretFile(file, std::numeric_limits<std::size_t>::max()); bytes && !bytes->isExposed)
    return;
  writeNote(
      fmt::format("Policy '{0}' holds the hub token and others can read or change it; run chmod 600 '{0}', or name "
                  "a file in hub.tokenFile.",
                  escapedForTerminal(file)));
}

/// A policy can be checked by a user without a home folder: most name none.
TidraPathResolver resolverForCheck(const PolicyOptions& options, const Program& program) {
  const auto home = program.environment.find("HOME");
  const bool isNamed = options.home || (home != program.environment.end() && !home->second.empty());
  if (isNamed || TidraHost::homeFolder()) return makeResolver(options.home, program.environment);
  writeNote("The home folder is unknown, so ~ counts as / here; set HOME or use --home.");
  return {"/", program.environment};
}

CheckedPolicy checked(const PolicyOptions& options, const Program& program) {
  CheckedPolicy made;
  made.policy = loadPolicyFile(options.file);
  const std::string shown = escapedForTerminal(options.file);
  made.resolved = resolvePolicy(made.policy, options.file, resolverForCheck(options, program));
  for (const std::string& note : made.resolved.notes) writeNote(fmt::format("Policy '{}': {}", shown, note));
  try {
    const ChosenCatalog chosen = makePolicyCatalog(made.policy, made.resolved);
    for (const std::string& note : chosen.notes) writeNote(fmt::format("Policy '{}': {}", shown, note));
    made.undated = undatedCategories(made.policy, chosen.catalog);
  } catch (const InputError& error) {
    throw InputError(fmt::format("Policy '{}': {}", shown, error.what()));
  }
  noteAbsentRoots(made.resolved);
  noteExposedToken(made.policy, options.file);
  made.token = HubToken::find(made.policy, made.resolved.resolver);
  if (!made.policy.hub.isUsed()) {
    if (made.policy.hub.policy) writeNote("hub.policy has no effect without hub.url.");
    return made;
  }
  made.hubUrl = urlWithoutUser(*made.policy.hub.url);
  if (!HTTPURL::parse(*made.policy.hub.url)) {
    writeNote("hub.url names a user, which hubs do not support; remove it and set hub.tokenFile.");
  }
  for (const std::string& note : made.token.notes) writeNote(note);
  if (!made.token.token) writeNote("No hub token was found; reports are sent without one.");
  return made;
}

std::string policyJson(const CheckedPolicy& given) {
  const ResolvedPolicy& resolved = given.resolved;
  return indentedJson(compactObject([&](JsonObjectWriter& object) {
    object.put("auditPath", resolved.auditPath)
        .put("dryRun", given.policy.dryRun)
        .put("home", resolved.resolver.home)
        .put("hubPolicy", given.policy.hub.policy);
    if (given.token.token) object.put("hubTokenSource", given.token.source);
    object.put("hubURL", given.hubUrl)
        .put("listenHost", resolved.listen.host)
        .put("listenPort", int{resolved.listen.port})
        .put("lockPath", resolved.lockPath)
        .put("method", given.policy.disposal.method)
        .put("name", given.policy.name)
        .put("quarantineDir", resolved.quarantine.directory)
        .put("retentionDays", resolved.quarantine.retentionDays)
        .put("roots", resolved.roots)
        .put("textfile", resolved.textfile);
  }));
}

std::string toText(const CheckedPolicy& given, const std::string& file) {
  const ResolvedPolicy& resolved = given.resolved;
  std::string text = fmt::format("{} is a valid policy named '{}'.\n", escapedForTerminal(file),
                                 escapedForTerminal(given.policy.name));
  const auto line = [&](std::string_view key, std::string_view value) {
    text += fmt::format("  {:<11}  {}\n", key, escapedForTerminal(value));
  };
  line("home", resolved.resolver.home);
  if (resolved.roots.empty()) line("roots", "none");
  for (const std::string& root : resolved.roots) line("root", root);
  line("audit log", resolved.auditPath);
  line("lock", resolved.lockPath);
  line("method", rawValue(given.policy.disposal.method));
  line("quarantine", fmt::format("{}, {} days", resolved.quarantine.directory, resolved.quarantine.retentionDays));
  line("textfile", resolved.textfile.value_or("none"));
  line("listen", fmt::format("{}:{}", resolved.listen.host, resolved.listen.port));
  line("hub", given.hubUrl.value_or("none"));
  if (given.policy.hub.policy) line("hub policy", *given.policy.hub.policy);
  line("hub token", given.token.token ? "from " + given.token.source : "none");
  if (!given.undated.empty()) {
    line("stays", joined(given.undated, ", ") + " (no known date of use, see autoClean.requireKnownIdle)");
  }
  if (given.policy.dryRun) line("dry run", "yes, nothing is removed");
  return text;
}

int check(const PolicyOptions& options, const Program& program) {
  const CheckedPolicy given = checked(options, program);
  writeOut(options.json ? policyJson(given) + "\n" : toText(given, options.file));
  return ExitStatus::done;
}

int example(const PolicyOptions& options) {
  const auto text = ExamplePolicies::text(options.example);
  if (!text) {
    throw InputError(fmt::format("Unknown example '{}'; known are {}.", escapedForTerminal(options.example),
                                 fmt::join(ExamplePolicies::names, ", ")));
  }
  writeOut(*text);
  return ExitStatus::done;
}

}  // namespace

void addPolicyCommand(CLI::App& app, Program& program) {
  auto options = std::make_shared<PolicyOptions>();
  CLI::App* command = app.add_subcommand("policy", "Check policies for unattended runs, and examples to start from");
  command->require_subcommand(1);
  command->footer(
      "Examples:\n"
      "  tidra policy example agent-host > policy.json    a policy to start from\n"
      "  tidra policy check policy.json                   what it means on this machine");

  CLI::App* checking = command->add_subcommand("check", "Whether a policy can be used, and what it means here");
  checking->add_option("FILE", options->file, "The policy")->required()->type_name("");
  checking->add_option("--home", options->home, "Use DIR as the home folder")->type_name("DIR");
  checking->add_flag("--json", options->json, "Print one JSON document");
  checking->footer("Examples:\n  tidra policy check policy.json\n  tidra policy check /etc/tidra/policy.json --json");
  checking->callback(
      [&program, options] { program.command = [options, &program] { return check(*options, program); }; });

  CLI::App* showing = command->add_subcommand("example", "Print a policy to start from");
  showing->add_option("NAME", options->example, "agent-host or developer")->required()->type_name("");
  showing->footer("Examples:\n  tidra policy example agent-host\n  tidra policy example developer > policy.json");
  showing->callback([&program, options] { program.command = [options] { return example(*options); }; });
}

}  // namespace tidra
