#include "app/state/last_scan_store.h"

#include <algorithm>
#include <iterator>

#include "app/state/state_folders.h"
#include "core/base/quantities.h"
#include "core/base/record_fields.h"
#include "core/base/text.h"
#include "core/model/stable_id.h"
#include "core/platform/files.h"
#include "core/platform/path_text.h"

namespace tidra {
namespace {

constexpr const char* summaryKey = "tidra.lastScanSummary.v1";
constexpr const char* partialKey = "tidra.lastScanPartial.v1";
constexpr const char* endKey = "tidra.lastScanEnd";
constexpr const char* completedKey = "tidra.hasCompletedScan";
constexpr const char* currentVersion = "v2";
constexpr const char* earlierVersion = "v1";
constexpr std::size_t mostReportBytes = std::size_t{1} << 30U;

std::string aggregateKey(const char* version) { return std::string("tidra.lastScanAggregate.") + version; }
std::string fileFlagKey(const char* version) { return std::string("tidra.lastScanAggregate.file.") + version; }
/// Key of the checksum that ties the file to the summary. Earlier versions stored none; then any file is accepted.
std::string fileCheckKey(const char* version) { return std::string("tidra.lastScanAggregate.fileCheck.") + version; }
std::string fileName(const char* version) { return std::string("lastScanAggregate.") + version + ".data"; }

constexpr const char* nextSuffix = ".next";

double gigabytes(std::int64_t bytes) { return static_cast<double>(bytes) / (1024.0 * 1024.0 * 1024.0); }

template <class T>
std::optional<T> decoded(const std::optional<std::string>& text) {
  if (!text) return std::nullopt;
  try {
    return JsonCodec<T>::decode(parseJson(*text, "last scan"), "last scan");
  } catch (const DecodingError&) {
    return std::nullopt;
  }
}

}  // namespace

ScanResultsSummary ScanResultsSummary::make(const ScanReport& report) {
  ScanResultsSummary summary;
  summary.totalRecoverableGB = gigabytes(report.totalBytes);
  summary.projectCount = report.projectCount;
  summary.scannedPathLabel = TidraPathResolver{report.home, {}}.displayPath(report.scanRoot);
  for (const auto& [key, bytes] : report.bytesByEcosystem) summary.ecosystems.push_back({key, gigabytes(bytes)});
  std::stable_sort(summary.ecosystems.begin(), summary.ecosystems.end(),
                   [](const auto& a, const auto& b) { return a.gigabytes > b.gigabytes; });
  std::map<ProjectActivity, std::int64_t> byActivity;
  std::int64_t systemBytes = 0;
  for (const ScanReportItem& item : report.items) {
    if (item.activity) byActivity[*item.activity] = saturatedSum(byActivity[*item.activity], item.bytes);
    if (item.isInSystemGroup()) systemBytes = saturatedSum(systemBytes, item.bytes);
  }
  for (const auto& [activity, bytes] : byActivity) summary.ageSegments.push_back({activity, gigabytes(bytes)});
  summary.systemCacheGB = gigabytes(systemBytes);
  return summary;
}

template <>
struct JsonCodec<ScanResultsSummary::Ecosystem> : RecordCodec<ScanResultsSummary::Ecosystem> {};
template <>
struct JsonCodec<ScanResultsSummary::AgeSegment> : RecordCodec<ScanResultsSummary::AgeSegment> {};

template <>
constexpr auto fieldsOf<ScanResultsSummary::Ecosystem> = recordFields(field("key", &ScanResultsSummary::Ecosystem::key),
                                                                      field("gigabytes",
                                                                            &ScanResultsSummary::Ecosystem::gigabytes));

template <>
constexpr auto fieldsOf<ScanResultsSummary::AgeSegment> =
    recordFields(field("activity", &ScanResultsSummary::AgeSegment::activity),
                 field("gigabytes", &ScanResultsSummary::AgeSegment::gigabytes));

template <>
constexpr auto fieldsOf<ScanResultsSummary> = recordFields(
    field("totalRecoverableGB", &ScanResultsSummary::totalRecoverableGB),
    field("projectCount", &ScanResultsSummary::projectCount),
    bytesField("scannedPathLabel", &ScanResultsSummary::scannedPathLabel),
    field("ecosystems", &ScanResultsSummary::ecosystems), field("ageSegments", &ScanResultsSummary::ageSegments),
    field("systemCacheGB", &ScanResultsSummary::systemCacheGB));

template struct RecordCodec<ScanResultsSummary::Ecosystem>;
template struct RecordCodec<ScanResultsSummary::AgeSegment>;
template struct RecordCodec<ScanResultsSummary>;

bool LastScanFilter::admits(const ScanArtifactFinding& finding) const {
  if (tiers && !tiers->contains(finding.safetyTier)) return false;
  if (ecosystems && !ecosystems->contains(finding.ecosystemTag)) return false;
  if (categories && !categories->contains(categoryOf(finding))) return false;
  return finding.sizeBytes >= minimumBytes && isOldEnough(finding);
}

bool LastScanFilter::isOldEnough(const ScanArtifactFinding& finding) const {
  return !olderThan || (finding.lastActivityDate &&
                        ScanActivityClassification::isAtLeastThisOld(*finding.lastActivityDate, *olderThan, now));
}

LeftOutFindings LastScanFilter::leaveOut(const LastScan& last) const {
  LeftOutFindings counts;
  if (!last.aggregate) return counts;
  for (const auto& [root, findings] : last.aggregate->artifactsByProjectRoot) {
    for (const ScanArtifactFinding& finding : findings) {
      if (tiers && !tiers->contains(finding.safetyTier)) ++counts.ofTier;
      if (ecosystems && !ecosystems->contains(finding.ecosystemTag)) ++counts.ofEcosystem;
      if (categories && !categories->contains(categoryOf(finding))) ++counts.ofCategory;
      if (finding.sizeBytes < minimumBytes) ++counts.ofSize;
      if (!isOldEnough(finding)) ++counts.ofAge;
    }
  }
  return counts;
}

std::optional<ScanReport> reportOf(const LastScan& last, const TidraPathResolver& resolver, const std::string& host,
                                   TidraPlatform platform, const ActivityThresholds& thresholds,
                                   const LastScanFilter& filter) {
  if (!last.aggregate) return std::nullopt;
  std::vector<ScanArtifactFinding> findings;
  for (const auto& [root, list] : last.aggregate->artifactsByProjectRoot) {
    std::copy_if(list.begin(), list.end(), std::back_inserter(findings),
                 [&](const ScanArtifactFinding& finding) { return filter.admits(finding); });
  }
  const auto isSystem = [](const ScanArtifactFinding& finding) {
    return finding.source != ArtifactSource::projectWalk;
  };
  std::stable_sort(findings.begin(), findings.end(), [&](const auto& a, const auto& b) {
    if (isSystem(a) != isSystem(b)) return isSystem(b);
    return !isSystem(a) && pathPrecedes(a.path, b.path);
  });
  return ScanReport::make(findings, ScanAggregate(findings), resolver,
                          {.catalogVersion = {},
                           .generatedAt = last.end.value_or(TimePoint{}),
                           .host = host,
                           .platform = platform,
                           .scanRoot = last.summary.scannedPathLabel,
                           .durationSeconds = 0,
                           .partial = last.partial,
                           .volume = std::nullopt,
                           .thresholds = thresholds});
}

void LastScanStore::save(const ScanResultsSummary& summary, bool partial, const std::optional<ScanAggregate>& aggregate,
                         TimePoint end) {
  PreferencesStore::Changes changes{
      {summaryKey, compactJson(summary)},
      {partialKey, partial},
      {endKey, end},
      {completedKey, true},
      {aggregateKey(currentVersion), std::nullopt},
      {fileFlagKey(currentVersion), false},
      {fileCheckKey(currentVersion), std::nullopt},
  };
  std::string encoded;
  if (aggregate) encoded = compactJson(*aggregate);
  const bool isLarge = encoded.size() > largestInPreferences;
  if (isLarge) {
    changes[fileFlagKey(currentVersion)] = true;
    changes[fileCheckKey(currentVersion)] = StableID::make(encoded);
  } else if (aggregate) {
    changes[aggregateKey(currentVersion)] = encoded;
  }
  const auto prepare = [&] {
    if (isLarge) writeNext(encoded);
    return changes;
  };
  preferences_.transact(prepare, [&] { publish(isLarge); });
}

void LastScanStore::writeNext(const std::string& encoded) const {
  try {
    makeStateFolder(folder_);
    replaceFile(aggregateFile() + nextSuffix, encoded, 0600);
  } catch (const std::system_error& error) {
    throw PreferencesError(std::string("The last scan was not saved: ") + error.what() + ".");
  }
}

void LastScanStore::publish(bool isLarge) const {
  const std::string file = aggregateFile();
  try {
    if (isLarge) {
      renameOver(file + nextSuffix, file);
    } else {
      removeFile(file);
      removeFile(file + nextSuffix);
    }
  } catch (const std::system_error&) {
    // The scan is saved anyway: load() also accepts the file with the suffix, and ignores both without the flag.
  }
}

std::string LastScanStore::aggregateFile() const { return joinedPath(folder_, fileName(currentVersion)); }

std::optional<LastScan> LastScanStore::load() const {
  constexpr int mostAttempts = 3;
  for (int attempt = 1;; ++attempt) {
    const auto before = preferences_.bytes(summaryKey);
    const auto beforeEnd = preferences_.date(endKey);
    auto summary = decoded<ScanResultsSummary>(before);
    if (!summary) return std::nullopt;
    LastScan last = loadOnce(std::move(*summary));
    // Do not mix values of two scans when another process saved in between.
    const bool isOne = preferences_.bytes(summaryKey) == before && preferences_.date(endKey) == beforeEnd;
    if (isOne || attempt == mostAttempts) return last;
  }
}

LastScan LastScanStore::loadOnce(ScanResultsSummary summary) const {
  return {std::move(summary), preferences_.boolean(partialKey).value_or(false), loadAggregate(),
          preferences_.date(endKey)};
}

std::optional<ScanAggregate> LastScanStore::loadAggregate() const {
  if (auto current = aggregateOf(currentVersion)) return current;
  // Fall back to the earlier layout only when the current one has no aggregate at all.
  if (preferences_.bytes(aggregateKey(currentVersion))) return std::nullopt;
  return aggregateOf(earlierVersion);
}

std::optional<ScanAggregate> LastScanStore::aggregateOf(const char* version) const {
  if (preferences_.boolean(fileFlagKey(version)).value_or(false)) {
    if (auto aggregate = decoded<ScanAggregate>(readAggregateFile(version))) return aggregate;
  }
  return decoded<ScanAggregate>(preferences_.bytes(aggregateKey(version)));
}

std::optional<std::string> LastScanStore::readAggregateFile(const char* version) const {
  const auto check = preferences_.bytes(fileCheckKey(version));
  for (const char* suffix : {"", nextSuffix}) {
    auto text = readRegularFile(joinedPath(folder_, fileName(version) + suffix), mostReportBytes);
    if (text && (!check || StableID::make(*text) == *check)) return std::move(*text);
    if (!check) break;
  }
  return std::nullopt;
}

}  // namespace tidra
