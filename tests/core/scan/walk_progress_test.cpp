// Progress and cancellation of a walk.
#include <algorithm>
#include <set>
#include <thread>

#include "tests/core/scan/scan_fixture.h"

namespace tidra {
namespace {

const RuleCatalog outputCatalog = catalogOf({plainRule("target"), plainRule("out")});

TEST(WalkProgress, EveryFindingAndEvery64EntriesAreReportedInOrderOnTheCallersThread) {
  const TemporaryTree tree;
  for (int i = 0; i < 40; ++i) makeEntries(tree, {"p" + std::to_string(i) + "/target/f=" + std::string(i, 'x')});
  for (int i = 0; i < 100; ++i) makeEntries(tree, {"p" + std::to_string(i) + "/src/"});
  makeEntries(tree, {"p0/out/f=1"});

  struct Heard {
    std::vector<std::uint64_t> scanned;
    std::size_t artifacts = 0;
    std::uint64_t bytes = 0;
    std::set<std::string> roots;
    std::set<std::string> paths;
  } heard;
  auto request = requestFor(tree, outputCatalog);
  const auto caller = std::this_thread::get_id();
  request.onProgress = [&](const Scanner::ProgressTick& tick) {
    EXPECT_EQ(std::this_thread::get_id(), caller);
    EXPECT_TRUE(tick.currentPathDisplay == "~" || tick.currentPathDisplay.starts_with("~/")) << tick.currentPathDisplay;
    heard.scanned.push_back(tick.foldersScanned);
    EXPECT_EQ(tick.latestFinding == nullptr, tick.artifactsFound == 0);
    if (tick.artifactsFound != heard.artifacts) {
      heard.bytes += tick.latestFinding->finding.sizeBytes;
      heard.roots.insert(*tick.latestFinding->finding.groupRoot);
      EXPECT_TRUE(heard.paths.insert(tick.latestFinding->finding.path).second)
          << tick.latestFinding->finding.path << " reported twice";
      ++heard.artifacts;
    }
    EXPECT_EQ(tick.artifactsFound, heard.artifacts) << "a finding without a tick of its own";
    EXPECT_EQ(tick.recoverableBytes, heard.bytes);
    EXPECT_EQ(tick.projectRootsFound, heard.roots.size());
  };
  const auto result = Scanner::scan(request);

  EXPECT_EQ(result.entriesVisited, 241U);
  EXPECT_EQ(heard.artifacts, 41U);
  EXPECT_EQ(heard.roots.size(), 40U);
  EXPECT_EQ(heard.bytes, 40U * 39 / 2 + 1);
  for (const auto& path : pathsOf(result.findings, tree)) EXPECT_TRUE(heard.paths.contains(tree.path(path))) << path;
  EXPECT_TRUE(std::is_sorted(heard.scanned.begin(), heard.scanned.end()));
  for (std::uint64_t count = 64; count <= result.entriesVisited; count += 64)
    EXPECT_TRUE(std::binary_search(heard.scanned.begin(), heard.scanned.end(), count)) << count;
}

TEST(WalkProgress, ACancelledWalkKeepsWhatItFoundAndStops) {
  const TemporaryTree tree;
  constexpr int projects = 200;
  for (int i = 0; i < projects; ++i) makeEntries(tree, {"p" + std::to_string(i) + "/target/f=123"});
  bool cancelled = false;
  std::size_t count = 0;
  auto request = requestFor(tree, outputCatalog);
  request.workers = 1;
  // Tens of thousands of patterns per entry make a small tree take many seconds.
  for (int i = 0; i < 30000; ++i) request.exclusionFilter.globPatterns.push_back("*" + std::to_string(i) + "*~?");
  request.shouldCancel = [&] { return cancelled; };
  request.onProgress = [&](const Scanner::ProgressTick& tick) {
    count = tick.artifactsFound;
    cancelled = count > 0;
  };
  const auto result = Scanner::scan(request);
  EXPECT_TRUE(result.cancelled);
  EXPECT_GT(result.findings.size(), 0U);
  EXPECT_LT(result.findings.size(), static_cast<std::size_t>(projects));
  EXPECT_EQ(count, result.findings.size());
  for (const auto& finding : plain(result.findings))
    EXPECT_EQ(finding.sizeBytes, 3U) << finding.path << " was reported before it was measured";
}

}  // namespace
}  // namespace tidra
