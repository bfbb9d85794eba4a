// The cost of a list of 50,000 results: filtered, sorted and grouped anew, as a face does after each key.
#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include "app/view/results_view.h"

namespace {

using namespace tidra;

constexpr int findings = 50'000;

/// Shaped like a scan: three artefacts a project, in no order of size or age.
std::vector<FoundArtifact> someFindings() {
  std::vector<FoundArtifact> found(findings);
  const char* const names[] = {"node_modules", "dist", ".venv"};
  const char* const ecosystems[] = {"npm", "npm", "py"};
  for (int i = 0; i < findings; ++i) {
    const auto number = static_cast<std::uint64_t>(i) * 2654435761U % 1'000'003U;
    ScanArtifactFinding& finding = found[static_cast<std::size_t>(i)].finding;
    finding.groupRoot = fmt::format("/home/ada/code/team-{:03}/Project-{:06}", i / 300, i / 3);
    finding.path = *finding.groupRoot + "/" + names[i % 3];
    finding.label = names[i % 3];
    finding.ecosystemTag = ecosystems[i % 3];
    finding.sizeBytes = number * 1000;
    finding.lastActivityDate = timePointAt(1'700'000'000 + static_cast<std::int64_t>(number * 50));
    finding.restoreHint = "npm install";
  }
  return found;
}

std::vector<ResultRow> rowsOf(const std::vector<FoundArtifact>& found) {
  RowMaker maker({"/home/ada", {}}, {}, timePointAt(1'780'000'000));
  std::vector<ResultRow> rows;
  rows.reserve(found.size());
  for (const FoundArtifact& each : found) rows.push_back(maker.rowOf(each, {}));
  return rows;
}

void make(benchmark::State& state, const ResultsQuery& query, bool hasMarks) {
  const auto found = someFindings();
  ResultsView view;
  view.replaceAll(rowsOf(found), &found);
  Selection selection;
  if (hasMarks) selection.markShown(*view.snapshot({}, {}));
  for (auto _ : state) benchmark::DoNotOptimize(view.snapshot(query, selection));
}

/// The rows of a finished scan, and the first list by name.
void replaceAll(benchmark::State& state) {
  const auto found = someFindings();
  const auto rows = rowsOf(found);
  for (auto _ : state) {
    state.PauseTiming();
    auto given = rows;
    ResultsView view;
    state.ResumeTiming();
    view.replaceAll(std::move(given), &found);
    benchmark::DoNotOptimize(view.snapshot({.sort = ResultsSort::name}, {}));
  }
}

}  // namespace

BENCHMARK_CAPTURE(make, by_project, ResultsQuery{}, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(make, all_marked, ResultsQuery{}, true)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(make, flat_by_age, (ResultsQuery{.sort = ResultsSort::age, .grouping = ResultsGrouping::flat}), false)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(make, by_name, (ResultsQuery{.sort = ResultsSort::name}), false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(make, text_in_all, (ResultsQuery{.filter = {.text = "project team"}}), false)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(make, text_in_none, (ResultsQuery{.filter = {.text = "project nothing"}}), false)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(replaceAll)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
