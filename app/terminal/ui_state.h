// What the screens show and change. No thread but the face's touches it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "app/view/duration_text.h"
#include "app/view/result_row.h"
#include "app/view/results_cursor.h"
#include "app/view/results_query.h"
#include "app/view/results_snapshot.h"
#include "app/view/results_view.h"
#include "app/view/selection.h"
#include "core/base/time_point.h"

namespace tidra {

/// A scan as the footer shows it.
struct ShownScan {
  bool isRunning = false;
  bool isStopping = false;
  bool isPartial = false;  // it was stopped, or it is an earlier one that was
  std::string phase = {};  // "Checking processes", of a running one; empty while it walks
  std::uint64_t entries = 0;
  std::size_t findings = 0;

  bool operator==(const ShownScan&) const = default;
};

struct UiState {
  std::string home;
  std::string place;                      // what was scanned, for the header
  std::optional<std::int64_t> freeBytes;  // of the volume
  std::string banner;                     // about the results as a whole: where they are from, what they lack
  TimePoint now{};
  bool isReadOnly = false;

  ResultsView view;
  Selection selection;
  ResultsQuery query;
  ResultsCursor cursor;
  std::shared_ptr<const ResultsSnapshot> list = std::make_shared<ResultsSnapshot>();
  std::optional<RowID> rangeStart;  // of a range that is being marked

  ShownScan scan;
  std::string removal;  // the line of a running removal; empty without one
  std::string notice;   // a sentence on the last key, until the next one

  /// Makes the list anew after a change of rows, marks or query. The cursor follows.
  void refresh() {
    list = view.snapshot(query, selection);
    cursor.follow(list);
  }
  bool isFiltered() const { return query.filter != ResultsFilter{}; }
};

/// The home folder as "~".
std::string placeText(const std::string& path, const std::string& home);

/// Why an item stays: "it is in use by python3", but "Path not found".
std::string reasonText(const std::string& reason);

}  // namespace tidra
