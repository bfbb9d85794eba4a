#include "cli/hub_access.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <stdexcept>

#include "cli/scan_options.h"
#include "cli/terminal.h"
#include "core/base/errors.h"
#include "core/base/json_fields.h"
#include "core/base/text.h"
#include "fleet/agent/policy/token_file.h"
#include "fleet/http/url.h"

namespace tidra {
namespace {

std::optional<std::string> variable(const Program& program, const std::string& name) {
  const auto found = program.environment.find(name);
  if (found == program.environment.end() || found->second.empty()) return std::nullopt;
  return found->second;
}

std::string tokenOfFile(const std::string& path) {
  const TokenFile file = readTokenFile(path, "command");
  if (!file.fault.empty()) throw InputError(file.fault);
  return file.firstToken();
}

std::optional<std::string> chosenToken(const HubAccessOptions& options, const Program& program) {
  if (options.token && options.tokenFile) throw InputError("Use either --token or --token-file.");
  if (options.tokenFile) {
    return tokenOfFile(absolutePath(*options.tokenFile, program.environment));
  }
  return options.token ? options.token : variable(program, "TIDRA_HUB_TOKEN");
}

/// The hub's error message; the HTTP failure when the body is not the hub's JSON.
std::string messageOf(const HubClient::HubClientError& failure) {
  try {
    const auto body = parseForeignJson(failure.body(), "the answer");
    return shownStart(JsonObjectReader(body, "the answer").required<std::string>("error"));
  } catch (const DecodingError&) {
    return failure.what();
  }
}

}  // namespace

void addHubAccessOptions(CLI::App& command, HubAccessOptions& options) {
  command.add_option("--url", options.url, "The hub, instead of TIDRA_HUB_URL")->type_name("URL");
  command
      .add_option("--token", options.token,
                  "The token, instead of TIDRA_HUB_TOKEN; others can see it in a list of processes")
      ->type_name("TOKEN");
  command.add_option("--token-file", options.tokenFile, "A file with the token, for its owner only")->type_name("FILE");
}

HubClient makeHubClient(const HubAccessOptions& options, const Program& program) {
  const auto url = options.url ? options.url : variable(program, "TIDRA_HUB_URL");
  if (!url) throw InputError("No hub is named; use --url, or set TIDRA_HUB_URL.");
  if (!HTTPURL::parse(*url)) {
    const std::string open = urlWithoutUser(*url);  // never print a password
    throw InputError(fmt::format("'{}' is not an http(s) URL; write it as http://HOST:PORT{}.",
                                 escapedForTerminal(open), open == *url ? "" : ", without a user"));
  }
  HubClient client{.baseURL = *url,
                   .token = chosenToken(options, program),
                   .environment = program.environment,
                   .shouldCancel = &InterruptGuard::requested};
  if (client.exposesToken()) {
    writeNote(fmt::format("warning: {} is not encrypted; the token can be read on the way. Use https.",
                          escapedForTerminal(*url)));
  }
  return client;
}

void throwMeaningOf(const HubClient::HubClientError& failure, const std::string& missing) {
  constexpr int badRequest = 400;
  constexpr int unauthorized = 401;
  constexpr int notFound = 404;
  constexpr int serverFailure = 500;
  if (InterruptGuard::requested()) throw HubWaitInterrupted{};
  const std::string message = escapedForTerminal(messageOf(failure));
  if (failure.status() == unauthorized) {
    throw InputError(
        fmt::format("The hub requires another token ({}); name one with --token-file or TIDRA_HUB_TOKEN.", message));
  }
  if (failure.status() == notFound && !missing.empty()) throw InputError(missing);
  if (failure.status() >= badRequest && failure.status() < serverFailure) {
    throw InputError(fmt::format("The hub refuses that: {}.", message));
  }
  throw std::runtime_error(fmt::format("{}.", failure.what()));
}

}  // namespace tidra
