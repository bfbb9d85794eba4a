#include "app/view/result_row.h"

#include "core/base/quantities.h"
#include "core/model/scan_aggregate.h"
#include "core/model/stable_id.h"
#include "core/model/system_group_root.h"
#include "core/model/system_scan_categories.h"

namespace tidra {
namespace {

bool isSystemGroup(std::string_view group) { return group.starts_with(TidraSystemGroupRoot::prefix); }

void setHint(ResultRow& row, const std::optional<ItemHint>& hint, SharedTexts& texts) {
  if (!hint) return;
  row.hintKind = hint->kind;
  row.hint = texts.of(hint->text);
}

}  // namespace

bool ResultRow::isInSystemGroup() const { return isSystemGroup(group.view()); }

std::string ResultRow::hintSentence() const {
  return hint.empty() ? std::string() : ItemHint::sentenceOf(hintKind, hint.view());
}

void RowMaker::setPlace(ResultRow& row, std::string_view path, std::string_view group, std::string_view category) {
  row.id = StableID::number(path);
  row.path = path;
  row.category = texts_.of(category);
  row.group = texts_.of(group);
  const auto [name, isNew] = groupNames_.try_emplace(row.group.view());
  if (isNew)
    name->second = texts_.of(isSystemGroup(group) ? systemScanCategoryName(category) : resolver_.displayPath(group));
  row.groupName = name->second;
}

void RowMaker::setActivity(ResultRow& row, std::optional<TimePoint> date) const {
  row.lastActivity = date;
  if (!date) return;
  row.activity = ScanActivityClassification::classify(ScanActivityClassification::monthsSince(*date, now_),
                                                      thresholds_.dormantMonths, thresholds_.inactiveMonths);
}

ResultRow RowMaker::rowOf(const FoundArtifact& found, ItemMark mark) {
  const ScanArtifactFinding& finding = found.finding;
  ResultRow row;
  setPlace(row, finding.path, ScanAggregate::rootKey(finding), found.category);
  setActivity(row, finding.lastActivityDate);
  setHint(row, hintOf(found), texts_);
  row.label = texts_.of(finding.label);
  row.ecosystem = texts_.of(finding.ecosystemTag);
  row.tier = finding.safetyTier;
  row.source = finding.source;
  row.freeableBytes = signedBytes(finding.freeable());
  row.sizeBytes = signedBytes(finding.sizeBytes);
  row.difference = finding.difference;
  row.mark = std::move(mark);
  return row;
}

ResultRow RowMaker::rowOf(const ScanReportItem& item, ItemMark mark) {
  ResultRow row;
  setPlace(row, item.path, item.group, item.category);
  setActivity(row, item.lastActivity);
  setHint(row, hintOf(item), texts_);
  row.label = texts_.of(item.label);
  row.ecosystem = texts_.of(item.ecosystem);
  row.tier = item.tier;
  row.source = item.source;
  row.freeableBytes = item.freeableBytes.value_or(item.bytes);
  row.sizeBytes = item.bytes;
  row.difference = item.difference;
  row.mark = std::move(mark);
  return row;
}

}  // namespace tidra
