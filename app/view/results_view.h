// The findings of a scan, while it runs and afterwards, from which lists are made.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "app/view/results_query.h"
#include "app/view/results_snapshot.h"
#include "app/view/row_classes.h"
#include "app/view/selection.h"
#include "core/model/storage_use.h"

namespace tidra {

/// For one thread; snapshots may go to any.
class ResultsView {
 public:
  /// Adds what a running scan has found. A row with a known path replaces the earlier one.
  void add(std::vector<ResultRow> rows);

  /// Takes the rows of a finished scan instead of all others. `findings`, if given, are those that the rows were made
  /// of, in the same order: sums then count hard links between them once. They are not kept.
  void replaceAll(std::vector<ResultRow> rows, const std::vector<FoundArtifact>* findings = nullptr);
  /// The same without a copy of the rows.
  void replaceAllWith(SharedRows rows, const std::vector<FoundArtifact>* findings = nullptr);

  /// Drops rows that were removed, and those that went with them. Sums are simple ones from then on.
  void drop(const std::set<RowID>& ids);
  /// Takes dropped rows again that are back in these places, with those that went with them. Returns whether each place
  /// is that of a dropped row.
  bool restore(const std::vector<std::string>& places);

  std::size_t size() const { return rows_.size(); }
  const ResultRow& row(std::size_t index) const { return *rows_[index]; }
  /// Returns the row; null if it is not there.
  const ResultRow* find(RowID id) const;

  std::shared_ptr<const ResultsSnapshot> snapshot(const ResultsQuery& query, const Selection& selection) const;

 private:
  friend class SnapshotMaker;

  /// What sorting and filtering read of a row.
  struct Facts {
    RowID id = 0;
    std::int64_t freeableBytes = 0;
    std::int64_t idleSince = 0;  // seconds since the epoch; unknownDate: unknown
    std::size_t textBegin = 0;   // in texts_
    std::size_t textSize = 0;
    std::uint32_t project = 0;
    std::uint32_t ecosystem = 0;
    std::uint8_t activity = 0;
    ArtifactSafetyTier tier = ArtifactSafetyTier::safe;
    ItemMark::Kind mark = ItemMark::Kind::unknown;
  };
  static constexpr std::int64_t unknownDate = INT64_MAX;

  void append(SharedRows added);
  void take(const ResultRow& row);
  Facts factsOf(const ResultRow& row);
  std::string_view textOf(const Facts& facts) const {
    return std::string_view(texts_).substr(facts.textBegin, facts.textSize);
  }
  const std::vector<std::uint32_t>& orderByName() const;

  std::vector<SharedRows> chunks_;  // own the rows
  std::vector<const ResultRow*> rows_;
  std::vector<const ResultRow*> dropped_;
  std::vector<Facts> facts_;  // of each row
  std::unordered_map<RowID, std::uint32_t> indexes_;
  std::string texts_;  // lower-case, of all rows
  struct Classes {
    RowClasses projects;
    RowClasses ecosystems;
  };
  std::shared_ptr<Classes> classes_ = std::make_shared<Classes>();  // only grow: snapshots share their texts
  std::optional<CombinedUse> use_;                                  // of the rows of a finished scan
  mutable std::vector<std::uint32_t> byName_;  // of the first rows: later ones are put in when that order is asked for
};

}  // namespace tidra
