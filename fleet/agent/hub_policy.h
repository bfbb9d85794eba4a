// The policy that a host carries out when the hub holds one for it: fetched before each run, laid over by what the host
// keeps to itself, and kept for the days on which the hub is away. docs/policy.md tells the rules.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "core/base/time_point.h"
#include "core/platform/path_resolver.h"
#include "fleet/agent/policy/fleet_policy.h"
#include "fleet/hub/protocol/record_codec.h"

namespace tidra {

/// What is kept between runs, in a file for the agent's user only.
struct HubPolicyState {
  /// The last document from the hub that this host could carry out.
  struct Copy {
    std::string hub;   // where it was fetched
    std::string name;  // under which
    TimePoint fetchedAt{};
    std::string document;

    bool operator==(const Copy&) const = default;
  };

  std::string carriedOut;  // fingerprint of the policy of the last run
  std::optional<Copy> copy;

  /// The file beside an audit log.
  static std::string pathFor(const std::string& auditLog);

  /// None when there is no such file. Throws InputError, one sentence, for one that is damaged, or that another user
  /// could have read or written.
  static std::optional<HubPolicyState> read(const std::string& path);

  /// Replaces the file as a whole. Throws InputError when that does not work or the folder is not safe.
  void write(const std::string& path) const;

  bool operator==(const HubPolicyState&) const = default;
};

/// The policy of one run.
struct EffectivePolicy {
  FleetPolicy policy;
  std::string origin;                  // where it is from and its fingerprint, for people; empty: no hub was ever asked
  bool isChanged = false;              // the run before carried out another one
  std::vector<std::string> warnings;   // sentences without their full stop, any bytes
  std::optional<HubPolicyState> next;  // to be written once the change is on record; absent: nothing is to be kept
};

struct HubPolicyQuestion {
  FleetPolicy own;        // the host's policy file
  std::string statePath;  // HubPolicyState's file
  TidraPathResolver host;
  std::function<std::string()> fetch;  // gives the hub's document; throws std::exception whose what() tells why not
  TimePoint now{};
};

/// The hub's policy; else the copy that is kept of it; else the host's own, which is also the answer when it names none
/// of the hub's. Never throws for what the hub does.
EffectivePolicy effectivePolicy(const HubPolicyQuestion& question);

/// SHA-256 of everything in a policy but its `hub` section, which may hold a secret.
std::string fingerprint(FleetPolicy policy);

template <>
struct JsonCodec<HubPolicyState::Copy> : FieldCodec<HubPolicyState::Copy> {};
template <>
struct JsonCodec<HubPolicyState> : FieldCodec<HubPolicyState> {};

}  // namespace tidra
