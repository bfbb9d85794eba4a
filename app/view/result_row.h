// One finding as every interactive face shows it.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "app/view/item_hint.h"
#include "app/view/scan_marks.h"
#include "app/view/shared_text.h"
#include "core/base/time_point.h"
#include "core/model/found_artifact.h"
#include "core/model/scan_activity_classification.h"
#include "core/model/scan_report.h"
#include "core/model/scan_vocabulary.h"
#include "core/platform/path_resolver.h"

namespace tidra {

/// StableID::number() of a path.
using RowID = std::uint64_t;

/// Texts are as they were found: a face escapes them.
struct ResultRow {
  RowID id = 0;
  std::string path;  // absolute, or a tool-backed target
  SharedText label;
  SharedText group;      // a project folder, or a system group root
  SharedText groupName;  // for display: home folder as "~", or the name of the category
  SharedText ecosystem;
  SharedText category;
  ArtifactSafetyTier tier = ArtifactSafetyTier::safe;
  ArtifactSource source = ArtifactSource::projectWalk;
  std::optional<TimePoint> lastActivity;    // of the project or of the item itself; absent while unknown
  std::optional<ProjectActivity> activity;  // absent while unknown
  std::int64_t freeableBytes = 0;           // of it alone
  std::int64_t sizeBytes = 0;               // apparent
  std::optional<SizeDifference> difference;
  ItemHint::Kind hintKind = ItemHint::Kind::plain;
  SharedText hint;  // the way back, or a warning; empty: none
  ItemMark mark;

  /// Whether `lastActivity` is that of its project.
  bool isDatedByProject() const { return source == ArtifactSource::projectWalk; }
  /// Whether a command of its tool removes it.
  bool isTool() const { return isToolBackedTarget(path); }
  bool isInSystemGroup() const;
  /// Whether a removal may be asked for: nothing keeps it, the checks are done, and it lies in no other finding.
  bool isMarkable() const { return ItemMark::isSelectable(mark.kind); }
  /// "to get it back: npm install"; empty without a hint.
  std::string hintSentence() const;

  bool operator==(const ResultRow&) const = default;
};

using SharedRows = std::shared_ptr<const std::vector<ResultRow>>;

/// Makes rows that share their texts. For one thread; the rows may go to another.
class RowMaker {
 public:
  RowMaker(TidraPathResolver resolver, ActivityThresholds thresholds, TimePoint now)
      : resolver_(std::move(resolver)), thresholds_(thresholds), now_(now) {}

  ResultRow rowOf(const FoundArtifact& found, ItemMark mark);
  /// Of a report, such as that of an earlier scan.
  ResultRow rowOf(const ScanReportItem& item, ItemMark mark);

 private:
  void setPlace(ResultRow& row, std::string_view path, std::string_view group, std::string_view category);
  void setActivity(ResultRow& row, std::optional<TimePoint> date) const;

  TidraPathResolver resolver_;
  ActivityThresholds thresholds_;
  TimePoint now_;
  SharedTexts texts_;
  std::unordered_map<std::string_view, SharedText> groupNames_;  // the keys lie in texts_
};

}  // namespace tidra
