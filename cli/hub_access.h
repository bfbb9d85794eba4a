// Access to a hub from the command line: URL, token and error messages.
#pragma once

#include <optional>
#include <string>
#include <type_traits>

#include "cli/interrupt.h"
#include "cli/program.h"
#include "fleet/hub/protocol/hub_client.h"

namespace CLI {
class App;
}

namespace tidra {

struct HubAccessOptions {
  std::optional<std::string> url;
  std::optional<std::string> token;
  std::optional<std::string> tokenFile;
};

/// Declares --url, --token and --token-file.
void addHubAccessOptions(CLI::App& command, HubAccessOptions& options);

/// Returns a client for the hub of the options, else of TIDRA_HUB_URL and TIDRA_HUB_TOKEN. Warns when the token would
/// cross the network unencrypted. Throws InputError for an unusable URL or token.
HubClient makeHubClient(const HubAccessOptions& options, const Program& program);

/// Thrown on Ctrl-C while waiting for a hub.
struct HubWaitInterrupted {};

/// Translates a failed call: throws InputError when other arguments would help (`missing` is the sentence for a 404),
/// HubWaitInterrupted after an interrupt, std::runtime_error otherwise.
[[noreturn]] void throwMeaningOf(const HubClient::HubClientError& failure, const std::string& missing);

/// Makes one call. Throws HubWaitInterrupted on Ctrl-C, also right after the response, to end a sequence of calls.
template <class Call>
auto askHub(Call&& call, const std::string& missing = "") {
  const InterruptGuard guard;
  try {
    if constexpr (std::is_void_v<decltype(call())>) {
      call();
    } else {
      auto answer = call();
      if (InterruptGuard::requested()) throw HubWaitInterrupted{};
      return answer;
    }
  } catch (const HubClient::HubClientError& failure) {
    throwMeaningOf(failure, missing);
  }
}

}  // namespace tidra
