// A document must pass three checks before a run: it is a valid policy, it is compatible with the host's own, and the
// host can execute it. The stored copy is checked again each time, since the host's own policy may have changed.
#include "fleet/agent/hub_policy.h"

#include <fmt/format.h>

#include "core/base/byte_units.h"
#include "core/base/errors.h"
#include "core/base/record_fields.h"
#include "core/base/text.h"
#include "core/platform/files.h"
#include "core/platform/path_text.h"
#include "fleet/agent/evaluation/hub_overlay.h"
#include "fleet/agent/sha256.h"
#include "fleet/agent/state_folder.h"
#include "fleet/hub/protocol/hub_json.h"

namespace tidra {

template <>
constexpr auto fieldsOf<HubPolicyState::Copy> = recordFields(field("hub", &HubPolicyState::Copy::hub),
                                                             field("name", &HubPolicyState::Copy::name),
                                                             field("fetchedAt", &HubPolicyState::Copy::fetchedAt),
                                                             field("document", &HubPolicyState::Copy::document));

template <>
constexpr auto fieldsOf<HubPolicyState> = recordFields(field("carriedOut", &HubPolicyState::carriedOut),
                                                       field("copy", &HubPolicyState::copy));

template struct RecordCodec<HubPolicyState::Copy>;
template struct RecordCodec<HubPolicyState>;

namespace {

// A policy has at most 8 MiB; JSON escapes a byte in up to six.
constexpr std::size_t mostStateBytes = 64_MiB;

/// Checksum: a flipped bit in a path would otherwise go unnoticed.
std::string checkOf(const HubPolicyState& state) { return Sha256().update(HubJSON::compact(state)).finish(); }

FleetPolicy usablePolicy(const HubPolicyQuestion& question, const std::string& document) {
  FleetPolicy policy = overlaidByHub(question.own, FleetPolicy::parse(document));
  requireUsable(policy, question.host);
  return policy;
}

/// Makes a message a clause: without full stop, bounded in length.
std::string clause(const std::exception& failure) {
  constexpr std::size_t longest = 500;
  std::string text = failure.what();
  if (text.size() > longest) text = text.substr(0, longest) + "…";
  if (text.ends_with('.')) text.pop_back();
  return text;
}

bool wantsHubPolicy(const FleetPolicy& own) { return own.hub.policy && !own.hub.policy->empty(); }

class Choice {
 public:
  explicit Choice(const HubPolicyQuestion& question) : question_(question) {}

  EffectivePolicy make() {
    const auto before = stateBefore();
    const bool wanted = wantsHubPolicy(question_.own);
    if (!wanted && !before) {
      made_.policy = question_.own;
      return std::move(made_);
    }
    HubPolicyState next;
    if (wanted) {
      fetchOrFallBack(before ? before->copy : std::nullopt, next.copy);
    } else {
      useOwn();
    }
    next.carriedOut = fingerprint(made_.policy);
    made_.origin += ", SHA-256 " + next.carriedOut;
    made_.isChanged = !before || before->carriedOut != next.carriedOut;
    if (next != before) made_.next = std::move(next);
    return std::move(made_);
  }

 private:
  std::optional<HubPolicyState> stateBefore() {
    try {
      return HubPolicyState::read(question_.statePath);
    } catch (const InputError& failure) {
      made_.warnings.push_back(clause(failure));
      return std::nullopt;
    }
  }

  void fetchOrFallBack(const std::optional<HubPolicyState::Copy>& kept, std::optional<HubPolicyState::Copy>& copy) {
    const std::string url = question_.own.hub.url.value_or("");
    const std::string& name = *question_.own.hub.policy;
    std::string reason;
    try {
      const std::string document = question_.fetch();
      made_.policy = usablePolicy(question_, document);
      made_.origin = fmt::format("policy '{}' of the hub", name);
      copy = {.hub = url, .name = name, .fetchedAt = question_.now, .document = document};
      return;
    } catch (const std::exception& failure) {
      reason = fmt::format("policy '{}' of the hub: {}", name, clause(failure));
    }
    if (kept && kept->hub == url && kept->name == name) {
      copy = kept;
      if (useCopy(*kept, reason)) return;
    }
    useOwn();
    made_.warnings.push_back(reason + "; this host's own policy is used");
  }

  bool useCopy(const HubPolicyState::Copy& kept, std::string& reason) {
    const std::string date = iso8601(kept.fetchedAt);
    try {
      made_.policy = usablePolicy(question_, kept.document);
    } catch (const std::exception& failure) {
      reason += fmt::format("; its copy of {}: {}", date, clause(failure));
      return false;
    }
    made_.origin = fmt::format("policy '{}' of the hub, copy of {}", kept.name, date);
    made_.warnings.push_back(fmt::format("{}; the copy of {} is used", reason, date));
    return true;
  }

  void useOwn() {
    made_.policy = question_.own;
    made_.origin = "this host's own policy";
  }

  const HubPolicyQuestion& question_;
  EffectivePolicy made_;
};

}  // namespace

std::string HubPolicyState::pathFor(const std::string& auditLog) { return auditLog + ".policy"; }

std::optional<HubPolicyState> HubPolicyState::read(const std::string& path) {
  constexpr StateFile file{"The copy of the hub's policy", "is not used", mostStateBytes};
  const auto text = file.read(path);
  if (!text) return std::nullopt;
  try {
    const auto sealed = parseForeignJson(*text, "it", mostStateBytes);
    const JsonObjectReader object(sealed, "it");
    auto state = object.required<HubPolicyState>("state");
    if (object.required<std::string>("check") == checkOf(state)) return state;
  } catch (const DecodingError&) {
    // Falls through: reported as damaged below.
  }
  throw InputError(
      fmt::format("The copy of the hub's policy '{}' is damaged and is not used.", escapedForTerminal(path)));
}

void HubPolicyState::write(const std::string& path) const {
  const std::string shown = escapedForTerminal(path);
  if (!isOwnedAndPrivate(parentPath(path))) {
    throw InputError(
        fmt::format("The copy of the hub's policy '{}' is not kept: its folder belongs to another user, or "
                    "everybody may write to it.",
                    shown));
  }
  const auto fill = [&](JsonObjectWriter& sealed) { sealed.put("check", checkOf(*this)).put("state", *this); };
  constexpr unsigned ownerOnly = 0600;
  try {
    replaceFile(path, compactObject(fill) + "\n", ownerOnly, AtLink::replace);
  } catch (const std::system_error& failure) {
    throw InputError(
        fmt::format("The copy of the hub's policy '{}' cannot be written: {}.", shown, failure.code().message()));
  }
}

EffectivePolicy effectivePolicy(const HubPolicyQuestion& question) { return Choice(question).make(); }

std::string fingerprint(FleetPolicy policy) {
  policy.hub = {};
  return Sha256().update(policy.text()).finish();
}

}  // namespace tidra
