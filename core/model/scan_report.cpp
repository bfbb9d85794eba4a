#include "core/model/scan_report.h"

#include <algorithm>

#include "core/base/quantities.h"
#include "core/base/record_fields.h"
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

template <>
constexpr auto fieldsOf<ScanReportItem> =
    recordFields(field("id", &ScanReportItem::id), bytesField("path", &ScanReportItem::path),
                 field("displayPath", &ScanReportItem::displayPath), field("label", &ScanReportItem::label),
                 field("bytes", &ScanReportItem::bytes), field("tier", &ScanReportItem::tier),
                 field("ecosystem", &ScanReportItem::ecosystem), field("category", &ScanReportItem::category),
                 bytesField("group", &ScanReportItem::group), field("source", &ScanReportItem::source),
                 field("ruleID", &ScanReportItem::ruleID), field("restoreHint", &ScanReportItem::restoreHint),
                 field("lastActivity", &ScanReportItem::lastActivity), field("idleDays", &ScanReportItem::idleDays),
                 field("activity", &ScanReportItem::activity), field("evidence", &ScanReportItem::evidence));

template <>
constexpr auto fieldsOf<ScanReport> = recordFields(
    field("schemaVersion", &ScanReport::schemaVersion), field("tidraVersion", &ScanReport::tidraVersion),
    field("catalogVersion", &ScanReport::catalogVersion), field("generatedAt", &ScanReport::generatedAt),
    field("host", &ScanReport::host), field("platform", &ScanReport::platform),
    bytesField("scanRoot", &ScanReport::scanRoot), bytesField("home", &ScanReport::home),
    field("durationSeconds", &ScanReport::durationSeconds), field("partial", &ScanReport::partial),
    field("totalBytes", &ScanReport::totalBytes), field("bytesByTier", &ScanReport::bytesByTier),
    field("bytesByCategory", &ScanReport::bytesByCategory), field("bytesByEcosystem", &ScanReport::bytesByEcosystem),
    field("projectCount", &ScanReport::projectCount), field("volume", &ScanReport::volume),
    field("items", &ScanReport::items));

template struct RecordCodec<ScanReportItem>;
template struct RecordCodec<ScanReport>;

}  // namespace tidra
