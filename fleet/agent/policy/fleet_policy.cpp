#include "fleet/agent/policy/fleet_policy.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>

#include "core/base/byte_units.h"
#include "core/base/errors.h"
#include "core/base/text.h"
#include "core/base/whole_number.h"
#include "core/model/ecosystems.h"
#include "core/model/system_scan_categories.h"
#include "core/platform/directory_reader.h"
#include "core/platform/files.h"
#include "core/platform/trusted_file.h"

namespace tidra {
namespace {

constexpr std::size_t mostPolicyBytes = 8_MiB;

bool isSystemScanCategory(const std::string& key) {
  return std::any_of(systemScanCategoryTable.begin(), systemScanCategoryTable.end(),
                     [&](const auto& category) { return category.key == key; });
}

bool isEcosystem(const std::string& key) {
  return std::any_of(ecosystemTable.begin(), ecosystemTable.end(),
                     [&](const auto& ecosystem) { return ecosystem.key == key; });
}

/// True for a character that is valid in a URL.
bool isUrlCharacter(char c) {
  constexpr std::string_view forbidden = "\"<>\\^`{|}";
  return c > ' ' && c < '\x7f' && forbidden.find(c) == std::string_view::npos;
}

bool isPort(std::string_view text) { return text.empty() || wholeNumber<std::uint16_t>(text); }

/// "host", "host:port" or "[address]:port", after an optional user.
bool hasHost(std::string_view authority) {
  if (const auto at = authority.rfind('@'); at != std::string_view::npos) authority.remove_prefix(at + 1);
  if (authority.starts_with('[')) {
    const auto end = authority.find(']');
    if (end == std::string_view::npos || end == 1) return false;
    const std::string_view rest = authority.substr(end + 1);
    return rest.empty() || (rest.front() == ':' && isPort(rest.substr(1)));
  }
  const auto colon = std::min(authority.find(':'), authority.size());
  return colon > 0 && (colon == authority.size() || isPort(authority.substr(colon + 1)));
}

bool isHttpUrl(std::string_view url) {
  if (!std::all_of(url.begin(), url.end(), isUrlCharacter)) return false;
  const auto colon = url.find("://");
  if (colon == std::string_view::npos) return false;
  const std::string scheme = asciiLowered(url.substr(0, colon));
  if (scheme != "http" && scheme != "https") return false;
  const std::string_view rest = url.substr(colon + 3);
  return hasHost(rest.substr(0, rest.find_first_of("/?#")));
}

void requireKnown(const std::optional<std::vector<std::string>>& entries, bool (*isKnown)(const std::string&),
                  std::string_view what) {
  if (!entries) return;
  const auto unknown = std::find_if_not(entries->begin(), entries->end(), isKnown);
  if (unknown != entries->end()) throw FleetPolicyError::invalid(fmt::format("unknown {} '{}'", what, *unknown));
}

void require(bool holds, const char* rule) {
  if (!holds) throw FleetPolicyError::invalid(rule);
}

}  // namespace

FleetPolicyError FleetPolicyError::unsupportedSchema(std::int64_t version) {
  return {Kind::unsupportedSchema, fmt::format("Policy schema {} is newer than this build supports ({}).", version,
                                               FleetPolicy::supportedSchema)};
}

FleetPolicyError FleetPolicyError::invalid(const std::string& message) {
  return {Kind::invalid, fmt::format("Invalid policy: {}.", message)};
}

void FleetPolicy::validate() const {
  for (const ArtifactSafetyTier tier : autoClean.tiers) {
    if (std::find(never.tiers.begin(), never.tiers.end(), tier) == never.tiers.end()) continue;
    throw FleetPolicyError::invalid(
        fmt::format("tier '{}' is both in autoClean.tiers and never.tiers", rawValue(tier)));
  }
  requireKnown(scan.categories, isSystemScanCategory, "scan category");
  requireKnown(scan.ecosystems, isEcosystem, "ecosystem");
  require(disposal.retentionDays >= 0, "disposal.retentionDays must be >= 0");
  require(autoClean.minIdleDays >= 0, "autoClean.minIdleDays must be >= 0");
  require(!hub.isUsed() || isHttpUrl(*hub.url), "hub.url must be an http(s) URL");
  require(hub.topItems >= 0 && hub.topItems <= Hub::mostTopItems, "hub.topItems must be between 0 and 200");
}

namespace {

std::string policyTextOf(const std::string& path, Outcome<std::string> bytes) {
  if (bytes) return std::move(*bytes);
  const std::string subject = fmt::format("Policy '{}'", escapedForTerminal(path));
  if (bytes.failure() == std::errc::file_too_large) {
    throw InputError(fmt::format("{} is longer than 8 MiB; name a file with a policy.", subject));
  }
  throw InputError(unreadableText(subject, "policy", path, bytes.failure()));
}

}  // namespace

std::string readPolicyFile(const std::string& path) {
  return policyTextOf(path, readRegularFile(path, mostPolicyBytes));
}

std::string readTrustedPolicyFile(const std::string& path) {
  return policyTextOf(path, readTrustedFile("Policy", path, mostPolicyBytes));
}

FleetPolicy FleetPolicy::load(const std::string& path) { return parse(readPolicyFile(path)); }

ActivityThresholds FleetPolicy::thresholds() const {
  const auto asInt = [](std::int64_t months) {
    return static_cast<int>(
        std::clamp<std::int64_t>(months, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
  };
  return {.dormantMonths = asInt(dormantMonths), .inactiveMonths = asInt(inactiveMonths)};
}

}  // namespace tidra
