// Interprets a policy's paths, addresses and secrets on one host.
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

/// The address of the metrics listener.
struct ListenAddress {
  static constexpr std::string_view defaultHost = "127.0.0.1";
  static constexpr std::uint16_t defaultPort = 9477;

  std::string host = std::string(defaultHost);  // literal; "0.0.0.0" for every interface
  std::uint16_t port = defaultPort;             // 0: any free one

  /// Parses "host:port", split at the last ":"; an empty host means every interface. Without ":" or a decimal port up
  /// to 65535 returns the default address.
  static ListenAddress parse(std::string_view text);

  bool operator==(const ListenAddress&) const = default;
};

/// Absolute, standardised paths. "~" is the resolved home folder, except in `scan.home` itself.
struct ResolvedPolicy {
  TidraPathResolver resolver;      // with the resolved home folder
  std::vector<std::string> roots;  // in the policy's order
  std::vector<std::string> extraRules;
  TidraScanExclusionFilter exclude;  // of scan.exclude
  std::string auditPath;
  std::string lockPath;
  QuarantineConfig quarantine;
  std::optional<std::string> textfile;  // absent: no textfile
  ListenAddress listen;
  std::vector<std::string> notes;  // probable mistakes, a sentence each

  /// `host` holds the running user's home folder and environment. Touches no file. Throws InputError, one sentence that
  /// names the key, for an unset variable in a path and for a path with two uses.
  static ResolvedPolicy make(const FleetPolicy& policy, const TidraPathResolver& host);

  /// Throws InputError when the agent would overwrite the policy file itself.
  void requireApartFrom(const std::string& policyFile) const;
};

/// Compiles folders and patterns into a filter, each read as addExclusion() does. Touches no file, so an absolute text
/// with wildcards is both a path and a pattern. Empty texts match nothing.
TidraScanExclusionFilter makePolicyFilter(const std::vector<std::string>& texts, const TidraPathResolver& resolver);

/// The token for reports to the hub.
struct HubToken {
  std::optional<std::string> token;  // absent: none found
  std::string source;                // where it was found, for people; empty without one. Never the token
  std::vector<std::string> notes;    // unusable files and how to fix them, a sentence each

  /// The first non-empty one of `hub.token`, the files `hub.tokenFile`, /etc/tidra/hub.token and ~/.tidra/hub.token,
  /// and the variable TIDRA_HUB_TOKEN. Files are checked as by readTokenFile. `systemFile` is for tests.
  static HubToken find(const FleetPolicy& policy, const TidraPathResolver& resolver,
                       const std::string& systemFile = "/etc/tidra/hub.token");
};

}  // namespace tidra
