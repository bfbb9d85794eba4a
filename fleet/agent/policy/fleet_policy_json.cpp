// The JSON form of a policy. A text is checked as JSON, then for valid JSON that nobody means (a repeated key, a NUL
// character in a path), then decoded key by key in the order of the records.
#include <array>

#include <fmt/format.h>

#include "core/base/record_fields.h"
#include "core/base/text.h"
#include "fleet/agent/policy/fleet_policy.h"

namespace tidra {
namespace {

constexpr const char* policyName = "The policy";

/// NUL injection: the operating system would truncate the path there.
void requireNoNul(const std::string& text, const std::string& place) {
  if (text.find('\0') != std::string::npos) throw DecodingError(place + " must not hold a NUL character");
}

void requireNoNul(const nlohmann::json& value, const std::string& place) {
  if (value.is_string()) requireNoNul(value.get_ref<const std::string&>(), place);
  if (value.is_array()) {
    for (const nlohmann::json& element : value) requireNoNul(element, place);
  }
  if (!value.is_object()) return;
  for (const auto& [key, member] : value.items()) {
    requireNoNul(key, place);
    requireNoNul(member, fmt::format("{}.{}", place, key));
  }
}

nlohmann::json parsePolicyJson(std::string_view text) {
  if (trimmed(text).empty()) {
    throw DecodingError(fmt::format("{} is empty (line 1, column 1); write {{}} for one of defaults", policyName));
  }
  auto document = parseUnambiguousJson(text, policyName);
  requireNoNul(document, policyName);
  return document;
}

using Texts = std::vector<std::string>;
using Tiers = std::vector<ArtifactSafetyTier>;

}  // namespace

template <>
struct JsonCodec<FleetPolicy::Scan> : RecordCodec<FleetPolicy::Scan> {};
template <>
struct JsonCodec<FleetPolicy::AutoClean> : RecordCodec<FleetPolicy::AutoClean> {};
template <>
struct JsonCodec<FleetPolicy::Never> : RecordCodec<FleetPolicy::Never> {};
template <>
struct JsonCodec<FleetPolicy::Disposal> : RecordCodec<FleetPolicy::Disposal> {};
template <>
struct JsonCodec<FleetPolicy::Audit> : RecordCodec<FleetPolicy::Audit> {};
template <>
struct JsonCodec<FleetPolicy::Metrics> : RecordCodec<FleetPolicy::Metrics> {};
template <>
struct JsonCodec<FleetPolicy::Hub> : RecordCodec<FleetPolicy::Hub> {};

template <>
constexpr auto fieldsOf<FleetPolicy::Scan> = recordFields(
    fieldOrDefault("roots", &FleetPolicy::Scan::roots), field("home", &FleetPolicy::Scan::home),
    field("categories", &FleetPolicy::Scan::categories), field("ecosystems", &FleetPolicy::Scan::ecosystems),
    fieldOrDefault("exclude", &FleetPolicy::Scan::exclude),
    fieldOrDefault("extraRules", &FleetPolicy::Scan::extraRules),
    fieldOrDefault("disabledRules", &FleetPolicy::Scan::disabledRules),
    fieldOrDefault("unskip", &FleetPolicy::Scan::unskip), field("packs", &FleetPolicy::Scan::packs));

template <>
constexpr auto fieldsOf<FleetPolicy::AutoClean> = recordFields(
    fieldOrDefault("tiers", &FleetPolicy::AutoClean::tiers), field("categories", &FleetPolicy::AutoClean::categories),
    field("ecosystems", &FleetPolicy::AutoClean::ecosystems),
    fieldOrDefault("minIdleDays", &FleetPolicy::AutoClean::minIdleDays),
    fieldOrDefault("requireKnownIdle", &FleetPolicy::AutoClean::requireKnownIdle),
    fieldOrDefault("requireEvidence", &FleetPolicy::AutoClean::requireEvidence),
    fieldOrDefault("minBytes", &FleetPolicy::AutoClean::minBytes),
    field("maxBytesPerRun", &FleetPolicy::AutoClean::maxBytesPerRun),
    field("maxItemsPerRun", &FleetPolicy::AutoClean::maxItemsPerRun));

template <>
constexpr auto fieldsOf<FleetPolicy::Never> = recordFields(fieldOrDefault("tiers", &FleetPolicy::Never::tiers),
                                                           fieldOrDefault("ruleIDs", &FleetPolicy::Never::ruleIDs),
                                                           fieldOrDefault("paths", &FleetPolicy::Never::paths));

template <>
constexpr auto fieldsOf<FleetPolicy::Disposal> =
    recordFields(fieldOrDefault("method", &FleetPolicy::Disposal::method),
                 field("quarantineDir", &FleetPolicy::Disposal::quarantineDir),
                 fieldOrDefault("retentionDays", &FleetPolicy::Disposal::retentionDays),
                 fieldOrDefault("purgeOnRun", &FleetPolicy::Disposal::purgeOnRun));

template <>
constexpr auto fieldsOf<FleetPolicy::Audit> = recordFields(field("path", &FleetPolicy::Audit::path));

template <>
constexpr auto fieldsOf<FleetPolicy::Metrics> = recordFields(field("textfile", &FleetPolicy::Metrics::textfile),
                                                             field("listen", &FleetPolicy::Metrics::listen));

template <>
constexpr auto fieldsOf<FleetPolicy::Hub> = recordFields(field("url", &FleetPolicy::Hub::url),
                                                         field("token", &FleetPolicy::Hub::token),
                                                         field("tokenFile", &FleetPolicy::Hub::tokenFile),
                                                         field("policy", &FleetPolicy::Hub::policy),
                                                         fieldOrDefault("tags", &FleetPolicy::Hub::tags),
                                                         fieldOrDefault("topItems", &FleetPolicy::Hub::topItems),
                                                         field("intervalSeconds", &FleetPolicy::Hub::intervalSeconds));

template <>
constexpr auto fieldsOf<FleetPolicy> = recordFields(
    fieldOrDefault("schemaVersion", &FleetPolicy::schemaVersion), fieldOrDefault("name", &FleetPolicy::name),
    fieldOrDefault("scan", &FleetPolicy::scan), fieldOrDefault("autoClean", &FleetPolicy::autoClean),
    fieldOrDefault("never", &FleetPolicy::never), fieldOrDefault("disposal", &FleetPolicy::disposal),
    fieldOrDefault("audit", &FleetPolicy::audit), fieldOrDefault("metrics", &FleetPolicy::metrics),
    fieldOrDefault("hub", &FleetPolicy::hub), field("lockFile", &FleetPolicy::lockFile),
    fieldOrDefault("dryRun", &FleetPolicy::dryRun), fieldOrDefault("dormantMonths", &FleetPolicy::dormantMonths),
    fieldOrDefault("inactiveMonths", &FleetPolicy::inactiveMonths));

template struct RecordCodec<FleetPolicy::Scan>;
template struct RecordCodec<FleetPolicy::AutoClean>;
template struct RecordCodec<FleetPolicy::Never>;
template struct RecordCodec<FleetPolicy::Disposal>;
template struct RecordCodec<FleetPolicy::Audit>;
template struct RecordCodec<FleetPolicy::Metrics>;
template struct RecordCodec<FleetPolicy::Hub>;
template struct RecordCodec<FleetPolicy>;

FleetPolicy JsonCodec<FleetPolicy>::decode(const nlohmann::json& value, const std::string& where) {
  const auto version = JsonObjectReader(value, where).valueOr("schemaVersion", FleetPolicy::supportedSchema);
  if (version > FleetPolicy::supportedSchema) throw FleetPolicyError::unsupportedSchema(version);
  return RecordCodec::decode(value, where);
}

FleetPolicy FleetPolicy::parse(std::string_view text) {
  FleetPolicy policy = JsonCodec<FleetPolicy>::decode(parsePolicyJson(text), policyName);
  policy.validate();
  return policy;
}

std::string FleetPolicy::text() const { return prettyJson(*this) + "\n"; }

std::vector<std::string> unknownPolicyKeys(std::string_view text) {
  // The encoding of a policy with all optional values lists the known keys.
  FleetPolicy full;
  full.lockFile = full.scan.home = full.disposal.quarantineDir = full.audit.path = "";
  full.scan.packs = full.scan.categories = full.scan.ecosystems = full.autoClean.categories =
      full.autoClean.ecosystems = Texts{};
  full.autoClean.maxBytesPerRun = 0;
  full.autoClean.maxItemsPerRun = full.hub.intervalSeconds = 0;
  full.metrics.textfile = full.metrics.listen = "";
  full.hub.url = full.hub.token = full.hub.tokenFile = full.hub.policy = "";
  const auto known = toJson(full);
  std::vector<std::string> unknown;
  const auto given = parsePolicyJson(text);
  for (const auto& [key, value] : given.items()) {
    const auto section = known.find(key);
    if (section == known.end()) {
      if (key != "$schema") unknown.push_back(key);
    } else if (section->is_object() && value.is_object()) {
      for (const auto& member : value.items()) {
        if (!section->contains(member.key())) unknown.push_back(key + "." + member.key());
      }
    }
  }
  return unknown;
}

}  // namespace tidra
