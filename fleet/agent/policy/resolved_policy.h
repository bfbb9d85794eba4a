// What the paths, addresses and secrets of a policy mean on one host.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/dispose/quarantine.h"
#include "core/platform/path_resolver.h"
#include "core/scan/exclusion_filter.h"
#include "fleet/agent/policy/fleet_policy.h"

namespace tidra {

/// Where the metrics listener listens.
struct ListenAddress {
  static constexpr std::string_view defaultHost = "127.0.0.1";
  static constexpr std::uint16_t defaultPort = 9477;

  std::string host = std::string(defaultHost);  // as written; "0.0.0.0" for every interface
  std::uint16_t port = defaultPort;             // 0: any free one

  /// Host and port of "host:port", split at the last ":"; an empty host is every interface. Text without ":" or without
  /// a decimal port up to 65535 gives the default address.
  static ListenAddress parse(std::string_view text);

  bool operator==(const ListenAddress&) const = default;
};

/// Absolute, standardised paths. "~" is the resolved home folder everywhere but in `scan.home` itself.
struct ResolvedPolicy {
  TidraPathResolver resolver;      // its home is the resolved one
  std::vector<std::string> roots;  // in the policy's order
  std::vector<std::string> extraRules;
  TidraScanExclusionFilter exclude;  // of scan.exclude
  std::string auditPath;
  std::string lockPath;
  QuarantineConfig quarantine;
  std::optional<std::string> textfile;  // absent: none is written
  ListenAddress listen;
  std::vector<std::string> notes;  // what an administrator may not have meant, a sentence each

  /// `host` holds the running user's home folder and environment. Touches no file. Throws InputError, one sentence that
  /// names the key, for a path with a variable that is not set, and for one that is given for two things.
  static ResolvedPolicy make(const FleetPolicy& policy, const TidraPathResolver& host);

  /// Throws InputError when the agent would write over the file that the policy was read from.
  void requireApartFrom(const std::string& policyFile) const;
};

/// Folders and patterns of a policy as one filter; addExclusion() says how each text is read. Touches no file, so an
/// absolute text with wildcards always counts as a path and as a pattern. Empty texts match nothing.
TidraScanExclusionFilter makePolicyFilter(const std::vector<std::string>& texts, const TidraPathResolver& resolver);

/// The secret with which the agent reports to the hub.
struct HubToken {
  std::optional<std::string> token;  // absent: none was found
  std::string source;                // where it was found, for people; empty without one. Never the token
  std::vector<std::string> notes;    // files that were passed over and how to mend them, a sentence each

  /// The first that is not empty of `hub.token`, the files `hub.tokenFile`, /etc/tidra/hub.token and
  /// ~/.tidra/hub.token, and the environment's TIDRA_HUB_TOKEN. A file must belong to root or the running user and must
  /// not be readable for anybody else, but for the group of one that belongs to root. `systemFile` is for tests.
  static HubToken find(const FleetPolicy& policy, const TidraPathResolver& resolver,
                       const std::string& systemFile = "/etc/tidra/hub.token");
};

}  // namespace tidra
