// The JSON form of a policy. A text is checked as JSON, then for valid JSON that nobody means (a repeated key, a NUL
// character in a path), then decoded key by key in the order of the records.
#include <array>

#include "core/base/json_fields.h"
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
    requireNoNul(member, place + "." + key);
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
struct JsonCodec<FleetPolicy::Scan> {
  static nlohmann::json encode(const FleetPolicy::Scan& scan) {
    nlohmann::json object{{"roots", scan.roots},
                          {"exclude", scan.exclude},
                          {"extraRules", scan.extraRules},
                          {"disabledRules", scan.disabledRules},
                          {"unskip", scan.unskip}};
    putOptional(object, "home", scan.home);
    putOptional(object, "categories", scan.categories);
    putOptional(object, "ecosystems", scan.ecosystems);
    return object;
  }
  static FleetPolicy::Scan decode(const nlohmann::json& value, const std::string& where) {
    const JsonObjectReader object(value, where);
    FleetPolicy::Scan scan;
    scan.roots = object.valueOr("roots", scan.roots);
    scan.home = object.optional<std::string>("home");
    scan.categories = object.optional<Texts>("categories");
    scan.ecosystems = object.optional<Texts>("ecosystems");
    scan.exclude = object.valueOr("exclude", scan.exclude);
    scan.extraRules = object.valueOr("extraRules", scan.extraRules);
    scan.disabledRules = object.valueOr("disabledRules", scan.disabledRules);
    scan.unskip = object.valueOr("unskip", scan.unskip);
    return scan;
  }
};

template <>
struct JsonCodec<FleetPolicy::AutoClean> {
  static nlohmann::json encode(const FleetPolicy::AutoClean& clean) {
    nlohmann::json object{{"tiers", JsonCodec<Tiers>::encode(clean.tiers)},
                          {"minIdleDays", clean.minIdleDays},
                          {"requireKnownIdle", clean.requireKnownIdle},
                          {"requireEvidence", clean.requireEvidence},
                          {"minBytes", clean.minBytes}};
    putOptional(object, "categories", clean.categories);
    putOptional(object, "ecosystems", clean.ecosystems);
    putOptional(object, "maxBytesPerRun", clean.maxBytesPerRun);
    putOptional(object, "maxItemsPerRun", clean.maxItemsPerRun);
    return object;
  }
  static FleetPolicy::AutoClean decode(const nlohmann::json& value, const std::string& where) {
    const JsonObjectReader object(value, where);
    FleetPolicy::AutoClean clean;
    clean.tiers = object.valueOr("tiers", clean.tiers);
    clean.categories = object.optional<Texts>("categories");
    clean.ecosystems = object.optional<Texts>("ecosystems");
    clean.minIdleDays = object.valueOr("minIdleDays", clean.minIdleDays);
    clean.requireKnownIdle = object.valueOr("requireKnownIdle", clean.requireKnownIdle);
    clean.requireEvidence = object.valueOr("requireEvidence", clean.requireEvidence);
    clean.minBytes = object.valueOr("minBytes", clean.minBytes);
    clean.maxBytesPerRun = object.optional<std::uint64_t>("maxBytesPerRun");
    clean.maxItemsPerRun = object.optional<std::int64_t>("maxItemsPerRun");
    return clean;
  }
};

template <>
struct JsonCodec<FleetPolicy::Never> {
  static nlohmann::json encode(const FleetPolicy::Never& never) {
    return {{"tiers", JsonCodec<Tiers>::encode(never.tiers)}, {"ruleIDs", never.ruleIDs}, {"paths", never.paths}};
  }
  static FleetPolicy::Never decode(const nlohmann::json& value, const std::string& where) {
    const JsonObjectReader object(value, where);
    FleetPolicy::Never never;
    never.tiers = object.valueOr("tiers", never.tiers);
    never.ruleIDs = object.valueOr("ruleIDs", never.ruleIDs);
    never.paths = object.valueOr("paths", never.paths);
    return never;
  }
};

template <>
struct JsonCodec<FleetPolicy::Disposal> {
  static nlohmann::json encode(const FleetPolicy::Disposal& disposal) {
    nlohmann::json object{{"method", rawValue(disposal.method)},
                          {"retentionDays", disposal.retentionDays},
                          {"purgeOnRun", disposal.purgeOnRun}};
    putOptional(object, "quarantineDir", disposal.quarantineDir);
    return object;
  }
  static FleetPolicy::Disposal decode(const nlohmann::json& value, const std::string& where) {
    const JsonObjectReader object(value, where);
    FleetPolicy::Disposal disposal;
    disposal.method = object.valueOr("method", disposal.method);
    disposal.quarantineDir = object.optional<std::string>("quarantineDir");
    disposal.retentionDays = object.valueOr("retentionDays", disposal.retentionDays);
    disposal.purgeOnRun = object.valueOr("purgeOnRun", disposal.purgeOnRun);
    return disposal;
  }
};

template <>
struct JsonCodec<FleetPolicy::Audit> {
  static nlohmann::json encode(const FleetPolicy::Audit& audit) {
    auto object = nlohmann::json::object();
    putOptional(object, "path", audit.path);
    return object;
  }
  static FleetPolicy::Audit decode(const nlohmann::json& value, const std::string& where) {
    return {.path = JsonObjectReader(value, where).optional<std::string>("path")};
  }
};

template <>
struct JsonCodec<FleetPolicy::Metrics> {
  static nlohmann::json encode(const FleetPolicy::Metrics& metrics) {
    auto object = nlohmann::json::object();
    putOptional(object, "textfile", metrics.textfile);
    putOptional(object, "listen", metrics.listen);
    return object;
  }
  static FleetPolicy::Metrics decode(const nlohmann::json& value, const std::string& where) {
    const JsonObjectReader object(value, where);
    return {.textfile = object.optional<std::string>("textfile"), .listen = object.optional<std::string>("listen")};
  }
};

template <>
struct JsonCodec<FleetPolicy::Hub> {
  static nlohmann::json encode(const FleetPolicy::Hub& hub) {
    nlohmann::json object{{"tags", JsonCodec<std::map<std::string, std::string>>::encode(hub.tags)},
                          {"topItems", hub.topItems}};
    putOptional(object, "url", hub.url);
    putOptional(object, "token", hub.token);
    putOptional(object, "tokenFile", hub.tokenFile);
    putOptional(object, "policy", hub.policy);
    putOptional(object, "intervalSeconds", hub.intervalSeconds);
    return object;
  }
  static FleetPolicy::Hub decode(const nlohmann::json& value, const std::string& where) {
    const JsonObjectReader object(value, where);
    FleetPolicy::Hub hub;
    hub.url = object.optional<std::string>("url");
    hub.token = object.optional<std::string>("token");
    hub.tokenFile = object.optional<std::string>("tokenFile");
    hub.policy = object.optional<std::string>("policy");
    hub.tags = object.valueOr("tags", hub.tags);
    hub.topItems = object.valueOr("topItems", hub.topItems);
    hub.intervalSeconds = object.optional<std::int64_t>("intervalSeconds");
    return hub;
  }
};

nlohmann::json JsonCodec<FleetPolicy>::encode(const FleetPolicy& policy) {
  nlohmann::json object{{"schemaVersion", policy.schemaVersion},
                        {"name", policy.name},
                        {"scan", JsonCodec<FleetPolicy::Scan>::encode(policy.scan)},
                        {"autoClean", JsonCodec<FleetPolicy::AutoClean>::encode(policy.autoClean)},
                        {"never", JsonCodec<FleetPolicy::Never>::encode(policy.never)},
                        {"disposal", JsonCodec<FleetPolicy::Disposal>::encode(policy.disposal)},
                        {"audit", JsonCodec<FleetPolicy::Audit>::encode(policy.audit)},
                        {"metrics", JsonCodec<FleetPolicy::Metrics>::encode(policy.metrics)},
                        {"hub", JsonCodec<FleetPolicy::Hub>::encode(policy.hub)},
                        {"dryRun", policy.dryRun},
                        {"dormantMonths", policy.dormantMonths},
                        {"inactiveMonths", policy.inactiveMonths}};
  putOptional(object, "lockFile", policy.lockFile);
  return object;
}

FleetPolicy JsonCodec<FleetPolicy>::decode(const nlohmann::json& value, const std::string& where) {
  const JsonObjectReader object(value, where);
  FleetPolicy policy;
  policy.schemaVersion = object.valueOr("schemaVersion", policy.schemaVersion);
  if (policy.schemaVersion > FleetPolicy::supportedSchema) {
    throw FleetPolicyError::unsupportedSchema(policy.schemaVersion);
  }
  policy.name = object.valueOr("name", policy.name);
  policy.scan = object.valueOr("scan", policy.scan);
  policy.autoClean = object.valueOr("autoClean", policy.autoClean);
  policy.never = object.valueOr("never", policy.never);
  policy.disposal = object.valueOr("disposal", policy.disposal);
  policy.audit = object.valueOr("audit", policy.audit);
  policy.metrics = object.valueOr("metrics", policy.metrics);
  policy.hub = object.valueOr("hub", policy.hub);
  policy.lockFile = object.optional<std::string>("lockFile");
  policy.dryRun = object.valueOr("dryRun", policy.dryRun);
  policy.dormantMonths = object.valueOr("dormantMonths", policy.dormantMonths);
  policy.inactiveMonths = object.valueOr("inactiveMonths", policy.inactiveMonths);
  return policy;
}

FleetPolicy FleetPolicy::parse(std::string_view text) {
  FleetPolicy policy = JsonCodec<FleetPolicy>::decode(parsePolicyJson(text), policyName);
  policy.validate();
  return policy;
}

std::string FleetPolicy::text() const { return jsonText(JsonCodec<FleetPolicy>::encode(*this), true) + "\n"; }

std::vector<std::string> unknownPolicyKeys(std::string_view text) {
  // The encoding of a policy with all optional values lists the known keys.
  FleetPolicy full;
  full.lockFile = full.scan.home = full.disposal.quarantineDir = full.audit.path = "";
  full.scan.categories = full.scan.ecosystems = full.autoClean.categories = full.autoClean.ecosystems = Texts{};
  full.autoClean.maxBytesPerRun = 0;
  full.autoClean.maxItemsPerRun = full.hub.intervalSeconds = 0;
  full.metrics.textfile = full.metrics.listen = "";
  full.hub.url = full.hub.token = full.hub.tokenFile = full.hub.policy = "";
  const auto known = JsonCodec<FleetPolicy>::encode(full);
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
