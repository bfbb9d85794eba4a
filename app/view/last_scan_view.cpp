#include "app/view/last_scan_view.h"

#include <algorithm>
#include <utility>

#include "core/platform/path_text.h"

namespace tidra {
namespace {

/// The findings that are in none of the places.
ScanAggregate without(const ScanAggregate& aggregate, const std::vector<DisposalReceipt>& removed) {
  std::vector<ScanArtifactFinding> left;
  for (const auto& [root, findings] : aggregate.artifactsByProjectRoot) {
    std::copy_if(findings.begin(), findings.end(), std::back_inserter(left), [&](const ScanArtifactFinding& finding) {
      return std::none_of(removed.begin(), removed.end(),
                          [&](const DisposalReceipt& receipt) { return isSameOrInside(finding.path, receipt.path); });
    });
  }
  return ScanAggregate(std::move(left));
}

std::optional<ScanReport> reportAt(const LastScan& last, const LastScanPlace& place) {
  return reportOf(last, place.resolver, place.host, place.platform, place.thresholds);
}

}  // namespace

std::optional<LastScanView> LastScanView::of(const LastScan& last, const LastScanPlace& place) {
  auto report = reportAt(last, place);
  if (!report) return std::nullopt;
  LastScanView view{.report = std::move(*report), .rows = {}, .end = last.end};
  const auto marks = marksOf(view.report, std::nullopt);
  RowMaker maker(place.resolver, place.thresholds, place.now);
  for (std::size_t i = 0; i < marks.size(); ++i) view.rows.push_back(maker.rowOf(view.report.items[i], marks[i]));
  return view;
}

CleanupPlan LastScanView::planOf(const std::set<std::string>& paths, DisposalMethod method) const {
  CleanupPlan plan;
  plan.createdAt = report.generatedAt;
  plan.host = report.host;
  plan.method = method;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    if (rows[i].isMarkable() && paths.contains(rows[i].path))
      plan.items.push_back(CleanupPlan::Item::make(report.items[i]));
  }
  return plan;
}

bool storeWithoutRemoved(LastScanStore& store, const LastScanView& view, const std::vector<DisposalReceipt>& removed,
                         const LastScanPlace& place) {
  auto last = store.load();
  if (removed.empty() || !last || !last->aggregate || last->end != view.end) return false;
  last->aggregate = without(*last->aggregate, removed);
  const auto report = reportAt(*last, place);
  store.save(ScanResultsSummary::make(*report), last->partial, last->aggregate, report->generatedAt);
  return true;
}

}  // namespace tidra
