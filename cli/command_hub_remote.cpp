// The hub's API in the terminal: one command a call.
#include <fmt/format.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <memory>
#include <set>

#include "cli/command_hub.h"
#include "cli/confirmation.h"
#include "cli/hub_access.h"
#include "cli/hub_view.h"
#include "cli/policy_file.h"
#include "cli/program.h"
#include "cli/scan_options.h"
#include "cli/terminal.h"
#include "core/base/errors.h"
#include "core/base/json_fields.h"
#include "core/base/quantities.h"
#include "core/base/text.h"
#include "fleet/hub/protocol/hub_json.h"

namespace tidra {
namespace {

struct RemoteOptions {
  HubAccessOptions access;
  std::string name;  // of a host or a policy
  std::string text;  // of a note
  std::string file;
  std::optional<std::string> status;
  std::optional<std::string> search;
  std::string limit = "20";
  bool json = false;
};

TerminalFacts facts(const Program& program) {
  return terminalFacts(STDOUT_FILENO, program.options.color, program.environment);
}

/// Prints the document as JSON, or as text.
template <class Document, class Text>
int show(const Document& document, const RemoteOptions& options, Text&& text) {
  writeOut(options.json ? HubJSON::pretty(document) + "\n" : text());
  return ExitStatus::done;
}

/// Reports what was done, or would be done.
int finished(const std::string& sentence, const RemoteOptions& options, const Program& program) {
  if (options.json) {
    nlohmann::json object{{"ok", true}};
    if (program.options.dryRun) object["dryRun"] = true;
    writeOut(jsonText(object, true) + "\n");
  } else {
    writeOut(sentence + "\n");
  }
  return ExitStatus::done;
}

std::string unknownHost(const std::string& name) {
  return fmt::format("The hub knows no host '{}'; tidra hub hosts lists them.", shown(name));
}

std::string unknownPolicy(const std::string& name) {
  return fmt::format("The hub has no policy '{}'; tidra hub policies lists them.", shown(name));
}

int status(const RemoteOptions& options, const Program& program) {
  const HubClient hub = makeHubClient(options.access, program);
  const HubSummary summary = askHub([&] { return hub.summary(); });
  return show(summary, options, [&] { return fleetText(summary, facts(program)); });
}

/// Fetches all pages. A hub without paging returns everything in the first response.
HubHostsEnvelope allHosts(const HubClient& hub, std::map<std::string, std::string> query) {
  constexpr std::size_t pageSize = 500;
  constexpr std::size_t mostHosts = 100000;  // bounds the memory against a faulty hub
  HubHostsEnvelope all;
  std::set<std::string> known;
  query["history"] = "0";
  query["topItems"] = "0";
  query["limit"] = std::to_string(pageSize);
  for (;;) {
    query["offset"] = std::to_string(all.hosts.size());
    auto page = askHub([&] { return hub.hosts(query); });
    const std::size_t before = all.hosts.size();
    for (HubHostRow& host : page.hosts) {
      if (known.insert(host.host).second) all.hosts.push_back(std::move(host));
    }
    if (page.hosts.size() != pageSize || all.hosts.size() == before) return all;
    if (all.hosts.size() > mostHosts) {
      throw InputError("The hub names more than 100,000 hosts; choose some with --search or --status.");
    }
  }
}

int hosts(const RemoteOptions& options, const Program& program) {
  std::map<std::string, std::string> query;
  if (options.status) query["status"] = *options.status;
  if (options.search) query["q"] = *options.search;
  const HubHostsEnvelope found = allHosts(makeHubClient(options.access, program), std::move(query));
  return show(found, options, [&] { return hostsText(found.hosts, currentTime(), facts(program)); });
}

int host(const RemoteOptions& options, const Program& program) {
  const HubClient hub = makeHubClient(options.access, program);
  const HubHostRecord record = askHub([&] { return hub.host(options.name); }, unknownHost(options.name));
  return show(record, options, [&] { return hostText(record, currentTime(), facts(program)); });
}

int events(const RemoteOptions& options, const Program& program) {
  const std::size_t count = parseCount(options.limit);
  const HubClient hub = makeHubClient(options.access, program);
  const HubEventsEnvelope latest = askHub([&] { return hub.events(count); });
  return show(latest, options, [&] { return eventsText(latest.events, facts(program)); });
}

int note(const RemoteOptions& options, const Program& program) {
  const HubClient hub = makeHubClient(options.access, program);
  const std::string missing = unknownHost(options.name);
  const bool isCleared = trimmed(options.text).empty();
  if (program.options.dryRun) {
    askHub([&] { hub.host(options.name); }, missing);
  } else {
    askHub([&] { hub.setNote(options.name, options.text); }, missing);
  }
  return finished(fmt::format("The note of host '{}' {} {}.", shown(options.name),
                              program.options.dryRun ? "would be" : "is", isCleared ? "cleared" : "set"),
                  options, program);
}

/// Asks, then removes. What the hub does not have is reported without asking.
template <class Removal>
int removeAfterAsking(const std::string& what, const std::string& consequence, const RemoteOptions& options,
                      const Program& program, Removal&& remove) {
  if (program.options.dryRun) return finished(fmt::format("{} would be removed.", what), options, program);
  if (!confirmed({fmt::format("Remove {} from the hub? {}", what, consequence), {}}, program)) {
    writeNote("Nothing was removed.");
    return ExitStatus::done;
  }
  remove();
  return finished(fmt::format("{} is removed.", what), options, program);
}

int removeHost(const RemoteOptions& options, const Program& program) {
  const HubClient hub = makeHubClient(options.access, program);
  const std::string missing = unknownHost(options.name);
  const HubHostRecord record = askHub([&] { return hub.host(options.name); }, missing);
  const std::string consequence =
      fmt::format("Its history is removed too; it was seen {}, and reappears if it reports.",
                  agoText(record.lastSeen, currentTime()));
  return removeAfterAsking(fmt::format("Host '{}'", shown(options.name)), consequence, options, program,
                           [&] { askHub([&] { hub.removeHost(options.name); }, missing); });
}

int policies(const RemoteOptions& options, const Program& program) {
  const HubClient hub = makeHubClient(options.access, program);
  const HubPoliciesEnvelope found = askHub([&] { return hub.policies(); });
  return show(found, options, [&] {
    std::string text;
    for (const std::string& name : found.policies) text += shown(name) + "\n";
    return text.empty() ? "No policies.\n" : text;
  });
}

int getPolicy(const RemoteOptions& options, const Program& program) {
  const HubClient hub = makeHubClient(options.access, program);
  writeOut(askHub([&] { return hub.policy(options.name); }, unknownPolicy(options.name)));
  return ExitStatus::done;
}

int putPolicy(const RemoteOptions& options, const Program& program) {
  const std::string path = absolutePath(options.file, program.environment);
  const std::string document = readPolicyFile(path);
  parsePolicyFile(path, document);  // better error messages than the hub's
  const HubClient hub = makeHubClient(options.access, program);
  if (!program.options.dryRun) askHub([&] { hub.putPolicy(options.name, document); });
  return finished(fmt::format("Policy '{}' {} stored; hosts that name it carry it out from their next run.",
                              shown(options.name), program.options.dryRun ? "would be" : "is"),
                  options, program);
}

int removePolicy(const RemoteOptions& options, const Program& program) {
  const HubClient hub = makeHubClient(options.access, program);
  const std::string missing = unknownPolicy(options.name);
  askHub([&] { hub.policy(options.name); }, missing);
  return removeAfterAsking(fmt::format("Policy '{}'", shown(options.name)),
                           "Hosts that use it continue with their stored copy.", options, program,
                           [&] { askHub([&] { hub.removePolicy(options.name); }, missing); });
}

using Run = int (*)(const RemoteOptions&, const Program&);

/// Adds commands to a group.
class Adding {
 public:
  explicit Adding(Program& program) : program_(program), options_(std::make_shared<RemoteOptions>()) {}

  RemoteOptions& options() { return *options_; }

  CLI::App* command(CLI::App& group, const std::string& name, const std::string& what, Run run, bool hasJson = true) {
    CLI::App* added = group.add_subcommand(name, what);
    addHubAccessOptions(*added, options_->access);
    if (hasJson) added->add_flag("--json", options_->json, "Print one JSON document");
    added->callback([&program = program_, options = options_, run] {
      program.command = [&program, options, run] {
        try {
          return run(*options, program);
        } catch (const HubWaitInterrupted&) {
          return ExitStatus::interrupted;
        }
      };
    });
    return added;
  }

  CLI::App* named(CLI::App* command, const std::string& what) {
    const auto faultOf = [](const std::string& name) { return name.empty() ? "the name is empty" : ""; };
    command->add_option("NAME", options_->name, what)->required()->type_name("")->check(faultOf);
    return command;
  }

 private:
  Program& program_;
  std::shared_ptr<RemoteOptions> options_;
};

void addPolicyCommands(CLI::App& hub, Adding& adding) {
  adding.command(hub, "policies", "The names of the policies that the hub holds", &policies)
      ->footer("Examples:\n  tidra hub policies\n  tidra hub policies --json");
  CLI::App* group = hub.add_subcommand("policy", "Read, store and remove policies of the hub");
  group->require_subcommand(1);
  group->footer("Examples:\n  tidra hub policy get ci-hosts > ci.json\n  tidra hub policy put ci-hosts ci.json");
  adding.named(adding.command(*group, "get", "Print a policy as it was stored", &getPolicy, false), "The policy")
      ->footer("Examples:\n  tidra hub policy get ci-hosts\n  tidra hub policy get ci-hosts > ci.json");
  CLI::App* putting = adding.named(adding.command(*group, "put", "Check a policy and store it", &putPolicy),
                                   "Its name on the hub: letters, digits, - _ .");
  putting->add_option("FILE", adding.options().file, "The policy")->required()->type_name("");
  putting->footer(
      "Examples:\n  tidra hub policy put ci-hosts ci.json\n  tidra hub policy put ci-hosts ci.json --dry-run");
  adding.named(adding.command(*group, "rm", "Remove a policy", &removePolicy), "The policy")
      ->footer("Examples:\n  tidra hub policy rm ci-hosts\n  tidra hub policy rm ci-hosts --yes");
}

}  // namespace

void addHubRemote(CLI::App& hub, Program& program) {
  Adding adding(program);
  adding.command(hub, "status", "The fleet at a glance", &status)
      ->footer(
          "Examples:\n  tidra hub status --url https://hub.example --token-file ~/.tidra/admin.token\n"
          "  tidra hub status --json");
  CLI::App* listing = adding.command(hub, "hosts", "Every host with its status", &hosts);
  listing->add_option("--status", adding.options().status, "Only healthy, attention or stale ones")
      ->type_name("STATUS")
      ->check(CLI::IsMember({"healthy", "attention", "stale"}));
  listing->add_option("--search", adding.options().search, "Only those with this text in name, policy, note or a tag")
      ->type_name("TEXT");
  listing->footer("Examples:\n  tidra hub hosts --status attention\n  tidra hub hosts --search rack-b --json");
  adding.named(adding.command(hub, "host", "One host in full", &host), "The host")
      ->footer("Examples:\n  tidra hub host build-7\n  tidra hub host build-7 --json");
  CLI::App* recent = adding.command(hub, "events", "What happened lately, oldest first", &events);
  recent->add_option("--limit", adding.options().limit, "How many (default: 20)")->type_name("N");
  recent->footer("Examples:\n  tidra hub events\n  tidra hub events --limit 200 --json");
  CLI::App* noting =
      adding.named(adding.command(hub, "note", "Write an administrator's note on a host", &note), "The host");
  noting->add_option("TEXT", adding.options().text, "The note; an empty one clears it")->required()->type_name("");
  noting->footer("Examples:\n  tidra hub note build-7 'new disk ordered'\n  tidra hub note build-7 ''");
  adding.named(adding.command(hub, "remove", "Forget a host and its history", &removeHost), "The host")
      ->footer("Examples:\n  tidra hub remove build-7\n  tidra hub remove build-7 --yes");
  addPolicyCommands(hub, adding);
}

}  // namespace tidra
