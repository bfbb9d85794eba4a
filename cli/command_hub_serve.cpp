// "tidra hub serve": starts the hub, prints its address, and waits for a signal.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <limits>
#include <memory>
#include <thread>

#include "cli/command_hub.h"
#include "cli/interrupt.h"
#include "cli/program.h"
#include "cli/scan_options.h"
#include "cli/terminal.h"
#include "core/base/errors.h"
#include "core/base/text.h"
#include "core/base/whole_number.h"
#include "core/platform/listening_socket.h"
#include "core/platform/standard_streams.h"
#include "fleet/hub/hub_server.h"

namespace tidra {
namespace {

/// The sources of one kind of token.
struct TokenOptions {
  std::string kind;  // "agent" or "admin"
  std::string variable;
  std::optional<std::string> text;
  std::optional<std::string> file;
};

struct HubServeOptions {
  std::string data;
  std::string listen = fmt::format("127.0.0.1:{}", HubConfig::defaultPort);
  std::string title = HubConfig().title;
  double staleAfter = HubConfig::defaultStaleAfter;  // seconds
  TokenOptions agent{"agent", "TIDRA_HUB_AGENT_TOKEN", {}, {}};
  TokenOptions admin{"admin", "TIDRA_HUB_ADMIN_TOKEN", {}, {}};
};

/// The first source that is set: option, file, environment.
std::vector<std::string> tokensFrom(const TokenOptions& options, const Environment& environment) {
  if (options.text) {
    const std::string token(trimmed(*options.text));
    const std::string named = fmt::format("--{}-token", options.kind);
    if (token.empty()) throw InputError(named + " is empty; name a token, or leave it out.");
    requireHubToken(token, named);
    return {token};
  }
  if (options.file) return readHubTokens(*options.file);
  const auto variable = environment.find(options.variable);
  if (variable == environment.end() || trimmed(variable->second).empty()) return {};
  const std::string token(trimmed(variable->second));
  requireHubToken(token, options.variable);
  return {token};
}

HubTokens tokensFrom(const HubServeOptions& options, const Environment& environment) {
  return {.agent = tokensFrom(options.agent, environment), .admin = tokensFrom(options.admin, environment)};
}

bool isIPv4Address(std::string_view text) {
  const auto parts = split(text, '.');
  return parts.size() == 4 && std::all_of(parts.begin(), parts.end(), [](std::string_view part) {
           return wholeNumber<std::uint8_t>(part).has_value();
         });
}

/// Parses "HOST:PORT" into host and port; an empty host means every interface. Throws InputError.
void readAddress(const std::string& text, HubConfig& config) {
  const auto colon = std::min(text.rfind(':'), text.size());
  config.host = text.substr(0, colon);
  if (config.host.empty()) config.host = "0.0.0.0";
  if (config.host == "localhost") config.host = "127.0.0.1";
  const std::string_view port = std::string_view(text).substr(std::min(colon + 1, text.size()));
  const auto number = wholeNumber<decltype(config.port)>(port);
  if (number && isIPv4Address(config.host)) {
    config.port = *number;
    return;
  }
  throw InputError(
      fmt::format("--listen '{}' is not an IPv4 address with a port; write HOST:PORT, such as 127.0.0.1:{}.",
                  escapedForTerminal(text), HubConfig::defaultPort));
}

HubConfig configOf(const HubServeOptions& options, const Environment& environment) {
  if (std::isnan(options.staleAfter)) {  // passes any range check
    throw InputError("--stale-after is not a number; write seconds, such as 129600.");
  }
  HubConfig config;
  readAddress(options.listen, config);
  config.dataDir = absolutePath(options.data, environment);
  config.staleAfter = options.staleAfter;
  config.title = replacingInvalidUtf8(options.title);
  return config;
}

/// Who may write policies decides what is removed on every host: printed even with --quiet, and hard to overlook.
void warnOfOpenDoors(const HubConfig& config, const HubTokens& tokens) {
  if (config.isForThisMachineAlone()) return;
  if (!tokens.admin.empty()) {
    writeNote("tokens and reports travel unencrypted; put a TLS proxy in front of the hub.");
    return;
  }
  const std::string line(78, '!');
  writeStandardError(
      fmt::format("{0}\n!!\n!!  WARNING: this hub listens on {1} and has no administrator's token.\n!!\n"
                  "!!  Everybody who reaches it can see the fleet, remove hosts, and change the\n"
                  "!!  policies that decide what is deleted on them. Stop it and set tokens:\n!!\n"
                  "!!      --admin-token-file FILE --agent-token-file FILE\n!!\n"
                  "!!  or let it listen on 127.0.0.1 only.\n!!\n{0}\n",
                  line, escapedForTerminal(config.host)));
}

void warnOfVisibleTokens(const TokenOptions& options) {
  if (!options.text) return;
  writeNote(
      fmt::format("--{0}-token shows the token to every user of this machine in the list of processes; "
                  "--{0}-token-file does not.",
                  options.kind));
}

void start(HubServer& server) {
  const HubConfig& config = server.config();
  try {
    server.start();
  } catch (const ListeningError& failure) {
    throw InputError(fmt::format("The hub cannot listen on {}:{}: {}; choose another address with --listen.",
                                 escapedForTerminal(config.host), config.port, escapedForTerminal(failure.what())));
  }
}

/// On an error the previous tokens stay valid.
void reload(HubServer& server, const HubServeOptions& options, const Program& program, const HubLog& log) {
  try {
    server.replaceTokens(tokensFrom(options, program.environment));
    log("tokens read anew");
  } catch (const InputError& failure) {
    log(fmt::format("warning: the tokens stay as they were: {}", failure.what()));
  }
}

int serve(const HubServeOptions& options, const Program& program) {
  const HubLog log = program.options.quiet ? HubLog([](const std::string&) {}) : HubLog(&printLine);
  const HubConfig config = configOf(options, program.environment);
  const HubTokens tokens = tokensFrom(options, program.environment);
  ignoreBrokenPipes();
  const InterruptGuard interrupts;
  HangupGuard hangups;
  try {
    HubServer server(config, &currentTime, log);
    for (const std::string& warning : server.store().loadWarnings()) log("warning: " + escapedForTerminal(warning));
    log(fmt::format("data folder {}: {} hosts", escapedForTerminal(config.dataDir), server.store().inventory().size()));
    server.replaceTokens(tokens);
    start(server);
    warnOfVisibleTokens(options.agent);
    warnOfVisibleTokens(options.admin);
    warnOfOpenDoors(config, tokens);
    log(fmt::format("listening on {}:{}", config.host, server.port()));
    log(fmt::format("dashboard on http://{}:{}/", config.host == "0.0.0.0" ? "localhost" : config.host, server.port()));
    constexpr auto lookAround = std::chrono::milliseconds(200);
    while (!InterruptGuard::requested()) {
      if (hangups.takeRequest()) reload(server, options, program, log);
      std::this_thread::sleep_for(lookAround);
    }
    server.stop();
    log("stopped");
    return ExitStatus::done;
  } catch (const HubStoreError& failure) {
    if (failure.kind() != HubStoreError::Kind::folderInUse) throw;
    writeError(fmt::format("{}.", failure.what()));
    return ExitStatus::lockHeld;
  }
}

void addTokenOptions(CLI::App& command, TokenOptions& options, const std::string& who) {
  const std::string name = fmt::format("--{}-token", options.kind);
  command.add_option(name, options.text, fmt::format("The token of {}", who))->type_name("TOKEN");
  command
      .add_option(name + "-file", options.file,
                  fmt::format("A file with that token, or with two of them a line each; read again on SIGHUP. Else {}",
                              options.variable))
      ->type_name("FILE");
}

}  // namespace

void addHubServe(CLI::App& hub, Program& program) {
  auto options = std::make_shared<HubServeOptions>();
  CLI::App* command = hub.add_subcommand("serve", "Receive reports, serve policies, and show the fleet on a page");
  command->add_option("--data", options->data, "The hub's folder; made when it is missing")
      ->required()
      ->type_name("DIR");
  command->add_option("--listen", options->listen, fmt::format("Where to listen (default: {})", options->listen))
      ->type_name("HOST:PORT");
  command->add_option("--title", options->title, "The fleet's name, shown on the page")->type_name("TEXT");
  command
      ->add_option("--stale-after", options->staleAfter,
                   "Silence after which a host without an interval is stale (default: a day and a half)")
      ->type_name("SECONDS")
      ->check(CLI::Range(1.0, 31536000.0));
  addTokenOptions(*command, options->agent, "agents, with which hosts report");
  addTokenOptions(*command, options->admin, "administrators, with which everything is seen and changed");
  command->footer(
      "Examples:\n"
      "  tidra hub serve --data ./hub\n"
      "  tidra hub serve --data /var/lib/tidra-hub --admin-token-file /etc/tidra/hub-admin.token \\\n"
      "    --agent-token-file /etc/tidra/hub-agent.token");
  command->callback(
      [&program, options] { program.command = [&program, options] { return serve(*options, program); }; });
}

}  // namespace tidra
