#include "core/model/scan_report.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <unordered_set>

#include "core/base/quantities.h"
#include "core/base/record_fields.h"
#include "core/model/stable_id.h"
#include "core/model/system_group_root.h"

namespace tidra {

std::string categoryOf(const ScanArtifactFinding& finding) {
  if (finding.groupRoot) {
    if (auto category = TidraSystemGroupRoot::category(*finding.groupRoot)) return *category;
  }
  return finding.source == ArtifactSource::pipCLI ? "python" : std::string(projectCategory);
}

namespace {

std::optional<std::int64_t> signedFigure(const std::optional<std::uint64_t>& bytes) {
  return bytes ? std::optional(signedBytes(*bytes)) : std::nullopt;
}

ScanReportItem itemOf(const ScanArtifactFinding& finding, std::string category, std::string group,
                      const TidraPathResolver& resolver, std::optional<std::int64_t> idleDays,
                      std::optional<ProjectActivity> activity) {
  return {.id = StableID::make(finding.path),
          .path = finding.path,
          .displayPath = isToolBackedTarget(finding.path) ? finding.path : resolver.displayPath(finding.path),
          .label = finding.label,
          .bytes = signedBytes(finding.sizeBytes),
          .tier = finding.safetyTier,
          .ecosystem = finding.ecosystemTag,
          .category = std::move(category),
          .group = std::move(group),
          .source = finding.source,
          .ruleID = finding.ruleID,
          .restoreHint = finding.restoreHint,
          .lastActivity = finding.lastActivityDate,
          .idleDays = idleDays,
          .activity = activity,
          .evidence = finding.evidence,
          .noEvidence = finding.noEvidence,
          .diskBytes = signedFigure(finding.diskBytes),
          .freeableBytes = signedFigure(finding.freeableBytes),
          .difference = finding.difference};
}

ScanReport emptyReport(const TidraPathResolver& resolver, const ScanReport::Circumstances& circumstances) {
  return {.tidraVersion = std::string(TidraCoreInfo::version),
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
          .volume = circumstances.volume,
          .items = {}};
}

void add(ScanReport& report, const ScanArtifactFinding& finding, std::string category,
         const TidraPathResolver& resolver, const ActivityThresholds& thresholds) {
  const TimePoint now = report.generatedAt;
  std::optional<ProjectActivity> activity;
  if (finding.lastActivityDate) {
    activity =
        ScanActivityClassification::classify(ScanActivityClassification::monthsSince(*finding.lastActivityDate, now),
                                             thresholds.dormantMonths, thresholds.inactiveMonths);
  }
  const auto& item =
      report.items.emplace_back(itemOf(finding, std::move(category), ScanAggregate::rootKey(finding), resolver,
                                       ScanActivityClassification::idleDays(finding.lastActivityDate, now), activity));
  for (std::int64_t* total : {&report.totalBytes, &report.bytesByTier[std::string(rawValue(item.tier))],
                              &report.bytesByCategory[item.category], &report.bytesByEcosystem[item.ecosystem]}) {
    *total = saturatedSum(*total, item.bytes);
  }
}

std::int64_t countedGroups(const ScanReport& report) {
  std::unordered_set<std::string_view> groups;
  for (const ScanReportItem& item : report.items) groups.insert(item.group);
  return std::ssize(groups);
}

}  // namespace

ScanReportItem ScanReportItem::make(const ScanArtifactFinding& finding, std::string group,
                                    const TidraPathResolver& resolver, std::optional<std::int64_t> idleDays,
                                    std::optional<ProjectActivity> activity) {
  return itemOf(finding, categoryOf(finding), std::move(group), resolver, idleDays, activity);
}

bool ScanReportItem::isInSystemGroup() const { return group.starts_with(TidraSystemGroupRoot::prefix); }

ScanReport ScanReport::make(const std::vector<ScanArtifactFinding>& findings, const ScanAggregate& aggregate,
                            const TidraPathResolver& resolver, const Circumstances& circumstances) {
  ScanReport report = emptyReport(resolver, circumstances);
  report.items.reserve(findings.size());
  for (const auto& finding : findings) {
    add(report, finding, categoryOf(finding), resolver, circumstances.thresholds);
  }
  report.projectCount = std::ssize(aggregate.projectRootPaths);
  return report;
}

ScanReport ScanReport::make(const std::vector<FoundArtifact>& found, const TidraPathResolver& resolver,
                            const Circumstances& circumstances) {
  ScanReport report = emptyReport(resolver, circumstances);
  report.items.reserve(found.size());
  for (const auto& one : found) add(report, one.finding, one.category, resolver, circumstances.thresholds);
  report.projectCount = countedGroups(report);
  const CombinedUse use(found);
  report.diskBytes = signedBytes(use.diskBytes());
  report.freeableBytes = signedBytes(use.freeableBytes());
  return report;
}

template <>
constexpr auto fieldsOf<ScanReportItem> = recordFields(
    field("id", &ScanReportItem::id), bytesField("path", &ScanReportItem::path),
    field("displayPath", &ScanReportItem::displayPath), field("label", &ScanReportItem::label),
    field("bytes", &ScanReportItem::bytes), field("tier", &ScanReportItem::tier),
    field("ecosystem", &ScanReportItem::ecosystem), field("category", &ScanReportItem::category),
    bytesField("group", &ScanReportItem::group), field("source", &ScanReportItem::source),
    field("ruleID", &ScanReportItem::ruleID), field("restoreHint", &ScanReportItem::restoreHint),
    field("lastActivity", &ScanReportItem::lastActivity), field("idleDays", &ScanReportItem::idleDays),
    field("activity", &ScanReportItem::activity), field("evidence", &ScanReportItem::evidence),
    field("noEvidence", &ScanReportItem::noEvidence), field("diskBytes", &ScanReportItem::diskBytes),
    field("freeableBytes", &ScanReportItem::freeableBytes), field("difference", &ScanReportItem::difference));

template <>
constexpr auto fieldsOf<ScanReport> = recordFields(
    field("schemaVersion", &ScanReport::schemaVersion), field("tidraVersion", &ScanReport::tidraVersion),
    field("catalogVersion", &ScanReport::catalogVersion), field("generatedAt", &ScanReport::generatedAt),
    field("host", &ScanReport::host), field("platform", &ScanReport::platform),
    bytesField("scanRoot", &ScanReport::scanRoot), bytesField("home", &ScanReport::home),
    field("durationSeconds", &ScanReport::durationSeconds), field("partial", &ScanReport::partial),
    field("totalBytes", &ScanReport::totalBytes), field("diskBytes", &ScanReport::diskBytes),
    field("freeableBytes", &ScanReport::freeableBytes), field("bytesByTier", &ScanReport::bytesByTier),
    field("bytesByCategory", &ScanReport::bytesByCategory), field("bytesByEcosystem", &ScanReport::bytesByEcosystem),
    field("projectCount", &ScanReport::projectCount), field("volume", &ScanReport::volume),
    field("items", &ScanReport::items));

template struct RecordCodec<ScanReportItem>;
template struct RecordCodec<ScanReport>;

}  // namespace tidra
