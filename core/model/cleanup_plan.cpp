#include "core/model/cleanup_plan.h"

#include <algorithm>
#include <set>

#include "core/base/quantities.h"
#include "core/base/record_fields.h"
#include "core/base/text.h"
#include "core/model/stable_id.h"
#include "core/platform/path_text.h"

namespace tidra {
namespace {

/// Returns why a path is invalid; empty for a valid one.
std::string_view faultOf(const std::string& path) {
  if (path.find('\0') != std::string::npos) return "contains a NUL byte";
  if (isToolBackedTarget(path)) return {};
  if (!path.starts_with('/')) return "is not absolute";
  const auto pieces = split(path, '/');
  if (std::find(pieces.begin(), pieces.end(), "..") != pieces.end()) return "contains '..'";
  if (path != "/" && path.ends_with('/')) return "ends with '/'";
  return path == standardizedPath(path) ? std::string_view{} : "contains '.' or an empty component";
}

void checkAge(const CleanupPlan& plan) {
  try {
    if (plan.olderThan) static_cast<void>(parseAge(*plan.olderThan));
  } catch (const InputError& error) {
    throw InputError(fmt::format("olderThan: {}.", error.what()));
  }
}

void check(const CleanupPlan& plan) {
  checkAge(plan);
  std::set<std::string_view> seen;
  for (const CleanupPlan::Item& item : plan.items) {
    const std::string shown = escapedForTerminal(item.path);
    if (const auto fault = faultOf(item.path); !fault.empty()) {
      throw InputError(fmt::format("the path '{}' {}; write it as the report shows it.", shown, fault));
    }
    if (item.bytes < 0) throw InputError(fmt::format("the size of '{}' is negative.", shown));
    if (!seen.insert(item.path).second) {
      throw InputError(fmt::format("'{}' is listed twice; remove one of them.", shown));
    }
  }
}

}  // namespace

CleanupPlan::Item CleanupPlan::Item::make(const ScanReportItem& reported) {
  return {.id = reported.id,
          .path = reported.path,
          .label = reported.label,
          .bytes = reported.bytes,
          .tier = reported.tier,
          .category = reported.category,
          .source = reported.source,
          .ruleID = reported.ruleID,
          .evidence = reported.evidence};
}

CleanupPlan::Item CleanupPlan::Item::make(const FoundArtifact& found) {
  const ScanArtifactFinding& finding = found.finding;
  return {.id = StableID::make(finding.path),
          .path = finding.path,
          .label = finding.label,
          .bytes = signedBytes(finding.sizeBytes),
          .tier = finding.safetyTier,
          .category = found.category,
          .source = finding.source,
          .ruleID = finding.ruleID,
          .evidence = finding.evidence};
}

ArtifactSafetyTier CleanupPlan::highestTier() const {
  auto highest = ArtifactSafetyTier::safe;
  for (const Item& item : items) highest = std::max(highest, item.tier);
  return highest;
}

std::int64_t CleanupPlan::totalBytes() const {
  std::int64_t sum = 0;
  for (const Item& item : items) sum = saturatedSum(sum, item.bytes);
  return sum;
}

CleanupPlan CleanupPlan::parse(std::string_view text, const std::string& what) {
  try {
    const auto document = parseUnambiguousJson(text, "the plan", text.size());
    const auto version = JsonObjectReader(document, "the plan").required<std::int64_t>("schemaVersion");
    if (version != TidraReportSchema::version) {
      throw InputError(fmt::format("it has schema version {}, but this Tidra reads {}; {}.", version,
                                   TidraReportSchema::version,
                                   version > TidraReportSchema::version ? "use a newer Tidra" : "make a new plan"));
    }
    CleanupPlan plan = JsonCodec<CleanupPlan>::decode(document, "the plan");
    check(plan);
    return plan;
  } catch (const InputError& error) {
    throw InputError(fmt::format("{}: {}", what, error.what()));
  } catch (const DecodingError& error) {
    throw InputError(fmt::format("{}: {}.", what, escapedForTerminal(error.what())));
  }
}

template <>
constexpr auto fieldsOf<CleanupPlan::Item> =
    recordFields(field("id", &CleanupPlan::Item::id), bytesField("path", &CleanupPlan::Item::path),
                 field("label", &CleanupPlan::Item::label), field("bytes", &CleanupPlan::Item::bytes),
                 field("tier", &CleanupPlan::Item::tier), field("category", &CleanupPlan::Item::category),
                 field("source", &CleanupPlan::Item::source), field("ruleID", &CleanupPlan::Item::ruleID),
                 field("evidence", &CleanupPlan::Item::evidence));

template <>
constexpr auto fieldsOf<CleanupPlan> =
    recordFields(field("schemaVersion", &CleanupPlan::schemaVersion), field("createdAt", &CleanupPlan::createdAt),
                 field("host", &CleanupPlan::host), field("method", &CleanupPlan::method),
                 field("reason", &CleanupPlan::reason), field("olderThan", &CleanupPlan::olderThan),
                 field("minBytes", &CleanupPlan::minBytes), field("items", &CleanupPlan::items));

template struct RecordCodec<CleanupPlan::Item>;
template struct RecordCodec<CleanupPlan>;

}  // namespace tidra
