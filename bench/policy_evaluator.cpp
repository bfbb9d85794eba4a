// The cost of deciding: a report of 100,000 items under policies whose protected paths match almost none of them, so
// that every test runs.
#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include "fleet/agent/evaluation/policy_evaluator.h"

namespace {

using namespace tidra;

constexpr int protectionCount = 100;

/// Shaped like a scan: two artefacts a project, ten projects a folder.
ScanReport reportOf(int count) {
  ScanReport report;
  report.host = "bench";
  for (int i = 0; i < count; ++i) {
    ScanReportItem item;
    item.path =
        fmt::format("/home/ada/code/team-{:04}/project-{:06}/{}", i / 20, i / 2, i % 2 == 0 ? "dist" : "node_modules");
    item.id = fmt::format("{:016x}", i);
    item.displayPath = "~" + item.path.substr(sizeof("/home/ada") - 1);
    item.label = i % 2 == 0 ? "dist" : "node_modules";
    item.bytes = 10'000'000 + i;
    item.ecosystem = "npm";
    item.category = "project";
    item.group = item.path.substr(0, item.path.rfind('/'));
    item.ruleID = item.label;
    item.restoreHint = "npm install";
    item.idleDays = 30;
    item.activity = ProjectActivity::recent;
    report.items.push_back(std::move(item));
  }
  return report;
}

FleetPolicy policyWith(const char* protection) {
  FleetPolicy policy;
  policy.autoClean.maxBytesPerRun = std::uint64_t{1} << 50;
  policy.autoClean.maxItemsPerRun = 1'000'000;
  for (int i = 0; i < protectionCount; ++i) {
    policy.never.paths.push_back(fmt::format(fmt::runtime(protection), i));
  }
  return policy;
}

/// `protection` is a format string with one number.
void evaluate(benchmark::State& state, const char* protection) {
  const ScanReport report = reportOf(static_cast<int>(state.range(0)));
  const FleetPolicy policy = policyWith(protection);
  const TidraPathResolver resolver{"/home/ada", {}};
  for (auto _ : state) {
    state.PauseTiming();
    ScanReport given = report;
    state.ResumeTiming();
    auto decision = PolicyEvaluator::evaluate(std::move(given), policy, resolver);
    benchmark::DoNotOptimize(decision);
    state.PauseTiming();
    { const auto discarded = std::move(decision); }
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

/// The baseline: makes the plan's items without deciding.
void planOnly(benchmark::State& state) {
  const ScanReport report = reportOf(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    CleanupPlan plan;
    plan.items.reserve(report.items.size());
    for (const auto& item : report.items) plan.items.push_back(CleanupPlan::Item::make(item));
    benchmark::DoNotOptimize(plan);
    state.PauseTiming();
    { const auto discarded = std::move(plan); }
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

constexpr int itemCount = 100'000;
BENCHMARK_CAPTURE(evaluate, folders, "~/code/team-{:04}/keep")->Arg(itemCount)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(evaluate, names, "keep-{}")->Arg(itemCount)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(evaluate, anchored_patterns, "*/keep-{}/*")->Arg(itemCount)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(evaluate, loose_patterns, "*.keep{}")->Arg(itemCount)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(evaluate, general_patterns, "*-?ep{}[-.]*")->Arg(itemCount)->Unit(benchmark::kMillisecond);
BENCHMARK(planOnly)->Arg(itemCount)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
