// The policy that the hub holds for a host: fetched before each run, merged with the host's own, and stored for times
// without the hub. Rules: docs/policy.md.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "core/base/json_codec.h"
#include "core/base/time_point.h"
#include "core/platform/path_resolver.h"
#include "fleet/agent/policy/fleet_policy.h"

namespace tidra {

/// State stored between runs, in a file of mode 0600.
struct HubPolicyState {
  /// The last document of the hub that this host could execute.
  struct Copy {
    std::string hub;   // URL it was fetched from
    std::string name;  // of the policy on the hub
    TimePoint fetchedAt{};
    std::string document;

    bool operator==(const Copy&) const = default;
  };

  std::string carriedOut;  // fingerprint of the last run's policy
  std::optional<Copy> copy;

  /// The file's path, beside the audit log.
  static std::string pathFor(const std::string& auditLog);

  /// None when the file is missing. Throws InputError, one sentence, when it is damaged or other users can read or
  /// write it.
  static std::optional<HubPolicyState> read(const std::string& path);

  /// Replaces the file atomically. Throws InputError when that fails or the folder is not safe.
  void write(const std::string& path) const;

  bool operator==(const HubPolicyState&) const = default;
};

/// The policy of one run.
struct EffectivePolicy {
  FleetPolicy policy;
  std::string origin;                  // source and fingerprint, for people; empty: no hub was ever used
  bool isChanged = false;              // differs from the last run's
  std::vector<std::string> warnings;   // sentences without full stop, any bytes
  std::optional<HubPolicyState> next;  // write it once the change is recorded; absent: nothing to store
};

struct HubPolicyQuestion {
  FleetPolicy own;        // the host's policy file
  std::string statePath;  // HubPolicyState's file
  TidraPathResolver host;
  std::function<std::string()> fetch;  // returns the hub's document; throws std::exception with a reason
  TimePoint now{};
};

/// Returns the hub's policy, else its stored copy, else the host's own, which is also used when it names no hub policy.
/// Never throws because of the hub.
EffectivePolicy effectivePolicy(const HubPolicyQuestion& question);

/// SHA-256 of a policy without its `hub` section, which may hold a secret.
std::string fingerprint(FleetPolicy policy);

extern template struct RecordCodec<HubPolicyState::Copy>;
template <>
struct JsonCodec<HubPolicyState::Copy> : RecordCodec<HubPolicyState::Copy> {};
extern template struct RecordCodec<HubPolicyState>;
template <>
struct JsonCodec<HubPolicyState> : RecordCodec<HubPolicyState> {};

}  // namespace tidra
