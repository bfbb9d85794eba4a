// Reaching a hub from the command line: which one, with which token, and what its refusals mean to a person.
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

/// --url, --token and --token-file.
void addHubAccessOptions(CLI::App& command, HubAccessOptions& options);

/// A client for the hub of the options, else of TIDRA_HUB_URL and TIDRA_HUB_TOKEN. Notes on standard error when its
/// token would cross the network in the clear. Throws InputError for a hub or a token that cannot be used.
HubClient makeHubClient(const HubAccessOptions& options, const Program& program);

/// Ctrl-C while a hub was waited for.
struct HubWaitInterrupted {};

/// Throws what a failed call means: InputError when other arguments would help (`missing` is the sentence for what the
/// hub does not know), std::runtime_error otherwise, one sentence each; HubWaitInterrupted after an interrupt.
[[noreturn]] void throwMeaningOf(const HubClient::HubClientError& failure, const std::string& missing);

/// One call, which Ctrl-C ends, also when the answer is there just then: several calls may follow each other.
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
