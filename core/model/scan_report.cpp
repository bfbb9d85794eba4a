#include "core/model/scan_report.h"

#include <algorithm>

#include "core/base/json_fields.h"
#include "core/base/quantities.h"
#include "core/model/stable_id.h"
#include "core/model/system_group_root.h"

namespace tidra {
namespace {

std::string categoryOf(const ScanArtifactFinding& finding) {
  if (finding.groupRoot) {
    if (auto category = TidraSystemGroupRoot::category(*finding.groupRoot)) return *category;
  }
  return finding.source == ArtifactSource::pipCLI ? "python" : "project";
}

void addBytes(std::int64_t& total, std::int64_t bytes) { total = saturatedSum(total, bytes); }

}  // namespace

ScanReportItem ScanReportItem::make(const ScanArtifactFinding& finding, std::string group,
                                    const TidraPathResolver& resolver, std::optional<std::int64_t> idleDays,
                                    std::optional<ProjectActivity> activity) {
  return {.id = StableID::make(finding.path),
          .path = finding.path,
          .displayPath = isToolBackedTarget(finding.path) ? finding.path : resolver.displayPath(finding.path),
          .label = finding.label,
          .bytes = signedBytes(finding.sizeBytes),
          .tier = finding.safetyTier,
          .ecosystem = finding.ecosystemTag,
          .category = categoryOf(finding),
          .group = std::move(group),
          .source = finding.source,
          .ruleID = finding.ruleID,
          .restoreHint = finding.restoreHint,
          .lastActivity = finding.lastActivityDate,
          .idleDays = idleDays,
          .activity = activity,
          .evidence = finding.evidence};
}

ScanReport ScanReport::make(const std::vector<ScanArtifactFinding>& findings, const ScanAggregate& aggregate,
                            const TidraPathResolver& resolver, const Circumstances& circumstances) {
  ScanReport report{.tidraVersion = std::string(TidraCoreInfo::version),
                    .catalogVersion = circumstances.catalogVersion,
                    .generatedAt = circumstances.generatedAt,
                    .host = circumstances.host,
                    .platform = circumstances.platform,
                    .scanRoot = circumstances.scanRoot,
                    .home = resolver.home,
                    .durationSeconds = circumstances.durationSeconds,
                    .partial = circumstances.partial,
                    .bytesByTier = {},
                    .bytesByCategory = {},
                    .bytesByEcosystem = {},
                    .projectCount = static_cast<std::int64_t>(aggregate.projectRootPaths.size()),
                    .volume = circumstances.volume,
                    .items = {}};
  report.items.reserve(findings.size());
  const auto now = circumstances.generatedAt;
  for (const ScanArtifactFinding& finding : findings) {
    std::optional<ProjectActivity> activity;
    if (finding.lastActivityDate) {
      activity = ScanActivityClassification::classify(
          ScanActivityClassification::monthsSince(*finding.lastActivityDate, now),
          circumstances.thresholds.dormantMonths, circumstances.thresholds.inactiveMonths);
    }
    const auto& item = report.items.emplace_back(
        ScanReportItem::make(finding, ScanAggregate::rootKey(finding), resolver,
                             ScanActivityClassification::idleDays(finding.lastActivityDate, now), activity));
    addBytes(report.totalBytes, item.bytes);
    addBytes(report.bytesByTier[std::string(rawValue(item.tier))], item.bytes);
    addBytes(report.bytesByCategory[item.category], item.bytes);
    addBytes(report.bytesByEcosystem[item.ecosystem], item.bytes);
  }
  return report;
}

nlohmann::json JsonCodec<ScanReportItem>::encode(const ScanReportItem& item) {
  nlohmann::json object{
      {"id", item.id},
      {"displayPath", JsonCodec<std::string>::encode(item.displayPath)},
      {"label", JsonCodec<std::string>::encode(item.label)},
      {"bytes", item.bytes},
      {"tier", rawValue(item.tier)},
      {"ecosystem", JsonCodec<std::string>::encode(item.ecosystem)},
      {"category", JsonCodec<std::string>::encode(item.category)},
      {"source", rawValue(item.source)},
  };
  putBytes(object, "path", item.path);
  putBytes(object, "group", item.group);
  putOptional(object, "ruleID", item.ruleID);
  putOptional(object, "restoreHint", item.restoreHint);
  putOptional(object, "lastActivity", item.lastActivity);
  putOptional(object, "idleDays", item.idleDays);
  putOptional(object, "activity", item.activity);
  putOptional(object, "evidence", item.evidence);
  return object;
}

ScanReportItem JsonCodec<ScanReportItem>::decode(const nlohmann::json& value, const std::string& where) {
  const JsonObjectReader object(value, where);
  return {.id = object.required<std::string>("id"),
          .path = object.requiredBytes("path"),
          .displayPath = object.required<std::string>("displayPath"),
          .label = object.required<std::string>("label"),
          .bytes = object.required<std::int64_t>("bytes"),
          .tier = object.required<ArtifactSafetyTier>("tier"),
          .ecosystem = object.required<std::string>("ecosystem"),
          .category = object.required<std::string>("category"),
          .group = object.requiredBytes("group"),
          .source = object.required<ArtifactSource>("source"),
          .ruleID = object.optional<std::string>("ruleID"),
          .restoreHint = object.optional<std::string>("restoreHint"),
          .lastActivity = object.optional<TimePoint>("lastActivity"),
          .idleDays = object.optional<std::int64_t>("idleDays"),
          .activity = object.optional<ProjectActivity>("activity"),
          .evidence = object.optional<std::string>("evidence")};
}

namespace {

using BytesByKey = std::map<std::string, std::int64_t>;

nlohmann::json encodeWithoutItems(const ScanReport& report) {
  nlohmann::json object{
      {"schemaVersion", report.schemaVersion},
      {"tidraVersion", report.tidraVersion},
      {"catalogVersion", JsonCodec<std::string>::encode(report.catalogVersion)},
      {"generatedAt", iso8601(report.generatedAt)},
      {"host", JsonCodec<std::string>::encode(report.host)},
      {"platform", rawValue(report.platform)},
      {"durationSeconds", report.durationSeconds},
      {"partial", report.partial},
      {"totalBytes", report.totalBytes},
      {"bytesByTier", JsonCodec<BytesByKey>::encode(report.bytesByTier)},
      {"bytesByCategory", JsonCodec<BytesByKey>::encode(report.bytesByCategory)},
      {"bytesByEcosystem", JsonCodec<BytesByKey>::encode(report.bytesByEcosystem)},
      {"projectCount", report.projectCount},
      {"items", nlohmann::json::array()},
  };
  putBytes(object, "scanRoot", report.scanRoot);
  putBytes(object, "home", report.home);
  putOptional(object, "volume", report.volume);
  return object;
}

}  // namespace

nlohmann::json JsonCodec<ScanReport>::encode(const ScanReport& report) {
  auto object = encodeWithoutItems(report);
  object["items"] = JsonCodec<std::vector<ScanReportItem>>::encode(report.items);
  return object;
}

ScanReport JsonCodec<ScanReport>::decode(const nlohmann::json& value, const std::string& where) {
  const JsonObjectReader object(value, where);
  return {.schemaVersion = object.required<std::int64_t>("schemaVersion"),
          .tidraVersion = object.required<std::string>("tidraVersion"),
          .catalogVersion = object.required<std::string>("catalogVersion"),
          .generatedAt = object.required<TimePoint>("generatedAt"),
          .host = object.required<std::string>("host"),
          .platform = object.required<TidraPlatform>("platform"),
          .scanRoot = object.requiredBytes("scanRoot"),
          .home = object.requiredBytes("home"),
          .durationSeconds = object.required<double>("durationSeconds"),
          .partial = object.required<bool>("partial"),
          .totalBytes = object.required<std::int64_t>("totalBytes"),
          .bytesByTier = object.required<BytesByKey>("bytesByTier"),
          .bytesByCategory = object.required<BytesByKey>("bytesByCategory"),
          .bytesByEcosystem = object.required<BytesByKey>("bytesByEcosystem"),
          .projectCount = object.required<std::int64_t>("projectCount"),
          .volume = object.optional<TidraVolumeSpaceReader::Space>("volume"),
          .items = object.required<std::vector<ScanReportItem>>("items")};
}

std::string reportText(const ScanReport& report) {
  constexpr std::string_view emptyItems = "\"items\": []";
  std::string text = jsonText(encodeWithoutItems(report), true);
  if (report.items.empty()) return text;
  const auto place = text.find(emptyItems) + emptyItems.size() - 1;
  std::string items;
  for (const ScanReportItem& item : report.items) {
    items += items.empty() ? "\n    " : ",\n    ";
    for (const char c : jsonText(JsonCodec<ScanReportItem>::encode(item), true)) {
      items += c;
      if (c == '\n') items += "    ";
    }
  }
  text.insert(place, items + "\n  ");
  return text;
}

}  // namespace tidra
