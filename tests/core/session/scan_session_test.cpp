#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <filesystem>
#include <map>
#include <set>

#include "core/base/joining_thread.h"
#include "core/base/json_writer.h"
#include "core/platform/directory_reader.h"
#include "core/scan/stores.h"
#include "tests/core/session/scan_session_fixture.h"
#include "tests/support/message_of.h"

namespace tidra {
namespace {

TEST_F(ScanSession, DatesEveryFindingFromItsProject) {
  makeProjects();
  std::map<std::string, std::optional<TimePoint>> dates;
  for (const auto& found : runScan(request({"code"})).findings)
    dates[*found.project()] = found.finding.lastActivityDate;
  EXPECT_EQ(dates[tree_.path("code/fresh")], commitDate);
  EXPECT_EQ(dates[tree_.path("code/old")], TimePoint{std::chrono::seconds{1000000000}});

  auto withoutGit = request({"code/fresh"});
  withoutGit.git.reset();
  EXPECT_EQ(runScan(withoutGit).findings.at(0).finding.lastActivityDate, fileDate);
}

TEST_F(ScanSession, NoneOfManyProjectsStaysUndated) {
  const std::string repository = makeRepository("repository");
  constexpr int projects = 200;
  for (int i = 0; i < projects; ++i) {
    const std::string project = "code/p" + std::to_string(i);
    tree_.makeFolder(project + "/target");
    tree_.makeFolder(project + "/node_modules");
    if (i % 2 == 0) tree_.writeFile(project + "/.git", "gitdir: " + repository + "/.git\n");
    tree_.setModified(project, TimePoint{std::chrono::seconds{1000000000 + i}});
  }
  const auto outcome = runScan(request({"code"}));
  ASSERT_EQ(outcome.findings.size(), 2U * projects);
  for (const auto& found : outcome.findings) {
    const ScanArtifactFinding& finding = found.finding;
    const int i = std::stoi(finding.groupRoot->substr(finding.groupRoot->rfind('p') + 1));
    EXPECT_EQ(finding.lastActivityDate, i % 2 == 0 ? commitDate : TimePoint{std::chrono::seconds{1000000000 + i}})
        << finding.path;
  }
}

TEST_F(ScanSession, APlaceOutsideProjectsHoldsTheirFindingsOnlyWhenItIsReported) {
  makeProjects();
  auto both = request({"code"});
  both.scanSystem = true;
  both.categories = {"mine"};
  SystemPathRule& rule = both.catalog.systemRules.emplace_back();
  rule.id = rule.label = "old";
  rule.category = "mine";
  rule.ecosystem = "general";
  rule.paths = {{"linux", {tree_.path("code/old")}}, {"macos", {tree_.path("code/old")}}};
  EXPECT_THAT(found(both), ElementsAre("code/fresh/node_modules", "code/fresh/target", "code/old/data",
                                       "code/old/target", "code/old"))
      << "what is of a higher tier stays a finding";
  both.ecosystems = {"rust"};
  EXPECT_THAT(found(both), ElementsAre("code/fresh/target", "code/old/target"));
  both.ecosystems.reset();
  both.tiers = {ArtifactSafetyTier::caution};
  EXPECT_THAT(found(both), ElementsAre("code/fresh/target", "code/old/target"));
}

TEST_F(ScanSession, TheReportAddsUp) {
  makeProjects();
  const auto outcome = runScan(request({"code/fresh", "code/old"}));
  const ScanReport report = makeReport(outcome, request({}).resolver);
  EXPECT_EQ(report.totalBytes, 43210);
  EXPECT_EQ(report.projectCount, 2);
  EXPECT_EQ(report.items.size(), 4U);
  EXPECT_EQ(report.scanRoot, tree_.path("code/fresh") + ", " + tree_.path("code/old"));
  EXPECT_EQ(report.home, tree_.path("home"));
  EXPECT_EQ(report.host, "a-host");
  EXPECT_EQ(report.generatedAt, now + std::chrono::seconds{static_cast<std::int64_t>(report.durationSeconds)});
  EXPECT_FALSE(report.partial);
  EXPECT_EQ(ScanAggregate::of(outcome.findings).totalBytes, 43210U);
  EXPECT_THAT(outcome.notes, IsEmpty());
  EXPECT_EQ(report.items[0].activity, ProjectActivity::inactive);
  EXPECT_EQ(report.items[3].activity, ProjectActivity::dormant);
  EXPECT_EQ(report.items[3].idleDays, 8680);
}

TEST_F(ScanSession, TheReportDoesNotDependOnTheNumberOfWorkers) {
  makeProjects();
  auto asked = request({"code"});
  std::vector<std::string> texts;
  for (const unsigned workers : {1U, 16U, 16U, 0U}) {
    asked.workers = workers;
    ScanReport report = makeReport(runScan(asked), asked.resolver);
    report.durationSeconds = 0;
    report.generatedAt = now;
    report.volume.reset();  // other programs change it meanwhile
    texts.push_back(prettyJson(report));
  }
  for (const std::string& text : texts) EXPECT_EQ(text, texts.front());
}

TEST_F(ScanSession, AnOversizedFindingDoesNotChangeOthers) {
  makeProjects();
  constexpr auto longest = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
  try {
    for (const char* file : {"1", "2", "3"}) tree_.writeFileOfSize(std::string("code/old/data/") + file, longest);
    tree_.writeFileOfSize("home/sparse", longest);
  } catch (const std::exception&) {
    GTEST_SKIP() << "the file system holds no files of such a length";
  }
  const auto outcome = runScan(request({"code"}));
  std::vector<std::uint64_t> sizes;
  for (const auto& found : outcome.findings) sizes.push_back(found.finding.sizeBytes);
  EXPECT_THAT(sizes, ElementsAre(10U, 200U, longest, 3000U));
  EXPECT_EQ(ScanAggregate::of(outcome.findings).totalBytes, longest + 3210U);
  EXPECT_EQ(makeReport(outcome, request({}).resolver).totalBytes, std::numeric_limits<std::int64_t>::max());
  EXPECT_THAT(outcome.notes, ElementsAre(HasSubstr("totals stay at the largest figure. The largest are")));

  std::filesystem::rename(tree_.path("home/sparse"), tree_.path("code/fresh/target/sparse"));
  EXPECT_THAT(messageOf<std::overflow_error>([&] { static_cast<void>(runScan(request({"code"}))); }),
              AllOf(HasSubstr("more than 64 bits hold"), HasSubstr("fresh/target (9223372036854775807 bytes)"),
                    HasSubstr("old/data"), HasSubstr("--exclude")));
}

/// Memory grows with the length of a deep path, not with its square.
TEST_F(ScanSession, ADeepTreeCostsItsLength) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "the sanitizers take more address space than is allowed here";
#endif
  constexpr int depth = 3000;
  const std::string name(200, 'n');
  FileDescriptor folder(::open(tree_.makeFolder("code").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  for (int i = 0; i <= depth; ++i) {
    const char* below = i == depth ? "node_modules" : name.c_str();
    ASSERT_EQ(::mkdirat(folder.get(), below, 0755), 0);
    folder = FileDescriptor(::openat(folder.get(), below, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  }
  makeRepository("code");
  GTEST_FLAG_SET(death_test_style, "fast");
  const auto scanInLittleSpace = [&] {
    const rlimit little{rlim_t{1} << 30U, rlim_t{1} << 30U};
    ::setrlimit(RLIMIT_AS, &little);
    const auto outcome = runScan(request({"code"}));
    const bool isStored = StoreFinder(tree_.path("home"), {}).holding(outcome.findings.at(0).finding.path).has_value();
    std::fprintf(stderr, "%zu found%s", outcome.findings.size(), isStored ? " in a store" : "");
    std::_Exit(0);
  };
  EXPECT_EXIT(scanInLittleSpace(), testing::ExitedWithCode(0), "1 found$");
}

/// When no thread or process can be created, the scan uses the caller's thread.
TEST_F(ScanSession, WorksWithoutASingleFurtherThread) {
  makeProjects();
  std::filesystem::permissions(tree_.root(), std::filesystem::perms{0755});
  auto asked = request({"code"});
  asked.scanSystem = true;
  GTEST_FLAG_SET(death_test_style, "fast");
  const auto scanAlone = [&] {
    const rlimit none{0, 0};
    ::setrlimit(RLIMIT_NPROC, &none);
    constexpr uid_t nobody = 65534;
    if (::geteuid() == 0 && ::setuid(nobody) != 0) std::_Exit(2);
    try {
      JoiningThread([] {});
      std::fprintf(stderr, "no limit");
    } catch (const std::system_error&) {
      const auto outcome = runScan(asked);
      std::fprintf(stderr, "%zu found, %lld bytes", outcome.findings.size(),
                   static_cast<long long>(makeReport(outcome, asked.resolver).totalBytes));
    }
    std::_Exit(0);
  };
  EXPECT_EXIT(scanAlone(), testing::ExitedWithCode(0), "no limit|4 found, 43210 bytes");
}

TEST_F(ScanSession, CancellingEndsTheWaitForAHungGit) {
  makeProjects();
  auto asked = request({"code"});
  for (const std::string question : {"log", "ls-files"}) {
    const std::string started = tree_.path("started " + question);
    asked.git =
        tree_.writeProgram("git", "case \"$*\" in *" + question + "*) touch '" + started + "'; sleep 1000;; esac");
    asked.shouldCancel = [&] { return static_cast<bool>(pathFacts(started)); };
    const auto began = std::chrono::steady_clock::now();
    const auto outcome = runScan(asked);
    EXPECT_LT(std::chrono::steady_clock::now() - began,
              std::chrono::duration<double>(TidraGitMetadataReader::commandTimeoutSeconds));
    EXPECT_TRUE(outcome.circumstances.partial) << question;
    EXPECT_EQ(outcome.findings.size(), 4U) << "the walk was done by then";
  }
}

TEST_F(ScanSession, DeliversFindingsWhileItWalks) {
  makeProjects();
  auto asked = request({"code/fresh", "code/old"});
  asked.minimumBytes = 100;  // more than node_modules
  asked.tiers = {ArtifactSafetyTier::safe, ArtifactSafetyTier::caution};
  std::vector<ScanPhase> phases;
  std::set<std::string> delivered;
  asked.onProgress = [&](const ScanProgress& progress) {
    if (phases.empty() || phases.back() != progress.phase) phases.push_back(progress.phase);
  };
  asked.onFindings = [&](const std::vector<FoundArtifact>& batch) {
    EXPECT_FALSE(batch.empty());
    EXPECT_TRUE(phases.empty() || phases.back() == ScanPhase::projects) << "after the checks began";
    for (const FoundArtifact& found : batch) {
      EXPECT_TRUE(delivered.insert(found.finding.path).second) << found.finding.path << " comes twice";
      EXPECT_GT(found.finding.sizeBytes, 100U);
    }
  };
  std::set<std::string> paths;
  for (const FoundArtifact& found : runScan(asked).findings) paths.insert(found.finding.path);
  EXPECT_EQ(delivered, paths);
  EXPECT_EQ(delivered.size(), 2U);
  EXPECT_THAT(phases, ElementsAre(ScanPhase::projects, ScanPhase::checks));
}

}  // namespace
}  // namespace tidra
