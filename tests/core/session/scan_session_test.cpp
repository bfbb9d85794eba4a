#include "core/session/scan_session.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <filesystem>
#include <map>

#include "core/base/joining_thread.h"
#include "core/base/json_writer.h"
#include "core/base/text.h"
#include "core/platform/directory_reader.h"
#include "core/scan/exclusion_entry.h"
#include "core/scan/exclusion_use.h"
#include "core/scan/stores.h"
#include "tests/support/git_repositories.h"
#include "tests/support/matchers.h"
#include "tests/support/message_of.h"
#include "tests/support/without_privileges.h"

namespace tidra {
namespace {

constexpr TimePoint now{std::chrono::seconds{1750000000}};  // 2025-06-15

class ScanSession : public WithGitRepositories {
 protected:
  ScanRequest request(const std::vector<std::string>& roots) const {
    ScanRequest request;
    for (const std::string& root : roots) request.roots.push_back(tree_.path(root));
    request.catalog = RuleCatalog::load(R"({"catalogVersion": "test", "projectRules": [
      {"id": "nm", "folderName": "node_modules", "ecosystem": "npm"},
      {"id": "target", "folderName": "target", "ecosystem": "rust", "tier": "caution", "restoreHint": "build"},
      {"id": "data", "folderName": "data", "ecosystem": "general", "tier": "warning"}]})");
    request.resolver = {tree_.path("home"), environment_};
    request.host = "a-host";
    request.mounts = {{"/", "ext4", "8:1"}};
    request.git = git_;
    request.scanSystem = false;
    request.now = now;
    return request;
  }

  std::vector<std::string> found(const ScanRequest& request) const {
    std::vector<std::string> paths;
    for (const auto& found : runScan(request).findings)
      paths.push_back(found.finding.path.substr(tree_.root().size() + 1));
    return paths;
  }

  static constexpr TimePoint fileDate{std::chrono::seconds{1600000000}};

  /// Three projects of different age and size; the last was never committed.
  void makeProjects() const {
    makeRepository("code/fresh");
    tree_.setModified("code/fresh/file", fileDate);
    tree_.writeFile("code/fresh/node_modules/f", std::string(10, 'x'));
    tree_.writeFile("code/fresh/target/f", std::string(200, 'x'));
    tree_.writeFile("code/old/target/f", std::string(3000, 'x'));
    tree_.writeFile("code/old/data/f", std::string(40000, 'x'));
    tree_.setModified("code/old", TimePoint{std::chrono::seconds{1000000000}});  // 2001-09-09
  }
};

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

TEST_F(ScanSession, OverlappingRootsReportEverythingOnce) {
  for (const char* project : {"a/b/c", "ab", "other", "a/Some.app", "a/target/deep", "a/skipped", "a/kept-out/in"})
    tree_.writeFile(std::string(project) + "/node_modules/f", "1");
  tree_.symlink("to-b", "a/b");
  tree_.symlink("a/to-other", "../other");
  auto asked = request({});
  asked.catalog.walkSkipByPlatform["all"] = {tree_.path("a/skipped")};
  asked.exclusions.pathPrefixes = {tree_.path("a/kept-out")};
  const auto foundFrom = [&](const std::vector<std::string>& roots) {
    asked.roots = request(roots).roots;
    return found(asked);
  };
  EXPECT_THAT(foundFrom({"a"}), ElementsAre("a/b/c/node_modules", "a/target"));
  EXPECT_THAT(foundFrom({"ab", "a/b/c", "a", "a/b", "a"}),
              ElementsAre("ab/node_modules", "a/b/c/node_modules", "a/target"));
  EXPECT_THAT(foundFrom({"to-b", "a/b"}), ElementsAre("to-b/c/node_modules"));
  EXPECT_THAT(foundFrom({"a", "to-b"}), ElementsAre("a/b/c/node_modules", "a/target"));
  // The walk of a ends at packages, at artefacts, and at links.
  EXPECT_THAT(foundFrom({"a", "a/Some.app"}), ElementsAre("a/b/c/node_modules", "a/target", "a/Some.app/node_modules"));
  EXPECT_THAT(foundFrom({"a", "a/to-other"}), ElementsAre("a/b/c/node_modules", "a/target", "a/to-other/node_modules"));
  EXPECT_THAT(foundFrom({"a/target/deep", "a"}), ElementsAre("a/b/c/node_modules", "a/target"));
  EXPECT_THAT(foundFrom({"a/target/deep"}), ElementsAre("a/target/deep/node_modules"));
  // Below a root that is an artefact by its own name, only nested artefacts are found.
  asked.ecosystems = {"npm"};
  EXPECT_THAT(foundFrom({"a", "a/target"}), ElementsAre("a/b/c/node_modules", "a/target/deep/node_modules"));
}

TEST_F(ScanSession, ExclusionsMatchThroughLinksOfTheirOwnAndOfTheRoot) {
  for (const char* file : {"m2/packages/web/node_modules/x/f", "big/mine/f"}) tree_.writeFile(file);
  tree_.symlink("t2", tree_.path("m2/packages"));
  tree_.symlink("home/.cache", tree_.path("big"));
  const auto asked = [&](const std::string& root, const std::string& text, bool looksAtDisk) {
    auto asked = request({root});
    addExclusion(asked.exclusions, tree_.path(text), asked.resolver, looksAtDisk);
    SystemPathRule& rule = asked.catalog.systemRules.emplace_back();
    rule.id = rule.category = "mine";
    for (const char* platform : {"linux", "macos"}) rule.paths[platform] = {"~/.cache/mine"};
    asked.scanSystem = root == "big";
    asked.systemReach = SystemReach::everywhere;
    return asked;
  };
  for (const bool looksAtDisk : {true, false}) {
    for (const char* root : {"m2", "t2"}) {
      for (const char* text : {"t2", "t2/*", "t2/web", "t2/web/node_modules/x", "t2/*/node_modules", "m2/packages/*",
                               "m2/packages/web", "m2/*/*/node_modules", "m2/packages/web/node_modules/*", "[t]2/web"})
        EXPECT_EQ(found(asked(root, text, looksAtDisk)).size(), 0U) << root << " " << text;
      for (const char* text : {"m2/other/*", "t2/web2", "t2/*/build"})
        EXPECT_EQ(found(asked(root, text, looksAtDisk)).size(), 1U) << root << " " << text;
    }
    for (const char* text : {"big/*", "big/mine", "home/.cache/min?", "home/*/mine"})
      EXPECT_EQ(found(asked("big", text, looksAtDisk)).size(), 0U) << text;
    EXPECT_EQ(found(asked("big", "big/other", looksAtDisk)).size(), 1U);
  }
}

TEST_F(ScanSession, AnExclusionThatKeepsNothingOutIsNoted) {
  for (const char* file : {"m2/client/node_modules/x/f", "big/mine/in/f", "m2/other/node_modules/f"})
    tree_.writeFile(file);
  tree_.symlink("t2", tree_.path("m2"));
  const auto notesFor = [&](const std::string& root, const std::string& text) {
    auto asked = request({root});
    TidraScanExclusionFilter filter;
    addExclusion(filter, text, asked.resolver, true);
    asked.exclusions = filter;
    asked.exclusions.use = std::make_shared<ExclusionUse>();
    asked.exclusions.use->add(text, filter);
    SystemPathRule& rule = asked.catalog.systemRules.emplace_back();
    rule.id = rule.category = "mine";
    for (const char* platform : {"linux", "macos"}) rule.paths[platform] = {tree_.path("big/mine")};
    asked.scanSystem = true;
    return joined(runScan(asked).notes, " ");
  };
  const std::string top = tree_.root();
  for (const auto& [root, texts] : std::map<std::string, Texts>{
           {"m2", {"client", "*/client/node_modules", "*/node_modules/x", top + "/t2/cl*", top + "/m2", top}},
           {"t2", {"client", "m2/client", "*/node_modules/x", top + "/m2/client", top + "/t2/cl*"}},
           {"big", {"*/in", top + "/big/mine", "mine/?n"}}}) {
    for (const std::string& text : texts) EXPECT_THAT(notesFor(root, text), Not(HasSubstr("kept nothing"))) << text;
    EXPECT_THAT(notesFor(root, "clent"), HasSubstr("'clent' given with --exclude kept nothing out of this scan."));
  }
}

TEST_F(ScanSession, NeverPathsMatchThroughLinks) {
  tree_.writeFile("m2/packages/web/node_modules/x/f");
  tree_.symlink("t2", tree_.path("m2/packages"));
  const auto isWithheld = [&](const std::string& root, const std::string& text) {
    auto asked = request({root});
    TidraScanExclusionFilter never;
    addExclusion(never, tree_.path(text), asked.resolver, false);
    asked.exclusions.keptPrefixes = never.pathPrefixes;
    asked.exclusions.keptPatterns = never.globPatterns;
    const auto outcome = runScan(asked);
    EXPECT_EQ(outcome.withheld.size() + outcome.findings.size(), 1U);
    return outcome.findings.empty();
  };
  for (const char* text :
       {"m2/packages", "m2/packages/*", "m2/packages/web/node_modules", "m2/*/web", "m2/packages/web/node_modules/x"}) {
    EXPECT_TRUE(isWithheld("t2", text)) << text;
    EXPECT_FALSE(isWithheld("m2", text)) << text << ": the evaluation of the policy reports it";
  }
  for (const char* text : {"t2", "t2/*", "t2/web/node_modules/x"}) EXPECT_TRUE(isWithheld("m2", text)) << text;
  EXPECT_FALSE(isWithheld("t2", "m2/packages/other"));
}

TEST_F(ScanSession, EachRootWithoutFindingsHasANote) {
  for (const char* place : {"skipped", "kept-out", "proc"})
    tree_.writeFile(std::string("a/") + place + "/p/node_modules/f", "1");
  auto asked = request({"a", "a/skipped/p", "a/kept-out/p", "a/proc", "a/missing", "a/skipped/p"});
  asked.catalog.walkSkipByPlatform["all"] = {tree_.path("a/skipped")};
  asked.exclusions.pathPrefixes = {tree_.path("a/kept-out")};
  asked.mounts.push_back({tree_.path("a/proc"), "proc", "0:5"});
  const auto outcome = runScan(asked);
  EXPECT_THAT(outcome.findings, IsEmpty());
  EXPECT_THAT(outcome.notes, ElementsAre(HasSubstr("/a/skipped/p lies in a folder that scans skip"),
                                         HasSubstr("/a/kept-out/p is excluded"), HasSubstr("/a/proc is on a proc"),
                                         HasSubstr("/a/missing could not be read")));
}

TEST_F(ScanSession, ARootMayBeAnArtefact) {
  makeProjects();
  const std::string artefact = "code/fresh/node_modules";
  tree_.writeFile(artefact + "/a/lib/f");
  tree_.writeFile("code/fresh/target/CACHEDIR.TAG");
  tree_.symlink("link", artefact);
  EXPECT_THAT(found(request({artefact})), ElementsAre(artefact));
  EXPECT_THAT(found(request({artefact, "code/fresh/target", "code/old"})),
              ElementsAre(artefact, "code/fresh/target", "code/old/data", "code/old/target"));
  EXPECT_THAT(found(request({artefact, "code"})),
              ElementsAre(artefact, "code/fresh/target", "code/old/data", "code/old/target"));
  for (const std::string& root : {artefact + "/a", std::string("link")}) {
    EXPECT_THAT(runScan(request({root})).notes, ElementsAre(HasSubstr("which is one finding as a whole"))) << root;
  }
  tree_.writeFile("code/site/package.json", R"({"scripts": {"build": "vite build"}})");
  tree_.writeFile("code/site/dist/index.html");
  tree_.writeFile("code/dist/p/target/f");
  for (const auto& [root, finding] :
       {std::pair{"code/site/dist", "code/site/dist"}, {"code/dist", "code/dist/p/target"}}) {
    auto asked = request({root});
    asked.catalog.projectRules.push_back(asked.catalog.projectRules[0]);
    asked.catalog.projectRules.back().folderName = "dist";
    EXPECT_THAT(found(asked), ElementsAre(finding));
  }
}

TEST_F(ScanSession, ARootOnAnotherFileSystemIsWalkedByItself) {
  makeProjects();
  auto asked = request({"code", "code/old"});
  asked.mounts.push_back({tree_.path("code/old"), "ext4", "8:2"});
  asked.oneFileSystem = true;
  EXPECT_THAT(found(asked),
              ElementsAre("code/fresh/node_modules", "code/fresh/target", "code/old/data", "code/old/target"));
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

TEST_F(ScanSession, NotesWhatCouldNotBeRead) {
  makeProjects();
  tree_.makeFolder("home/closed\nroot");
  tree_.makeFolder("code/closed");
  for (const char* closed : {"home/closed\nroot", "code/closed"}) tree_.setMode(closed, 0);
  const WithoutPrivileges bound(tree_);
  const auto outcome = runScan(request({"home/closed\nroot", "code", "home/missing"}));
  EXPECT_THAT(outcome.notes, ElementsAre("~/closed\\nroot could not be read: Permission denied.",
                                         HasSubstr("1 folder below " + tree_.path("code") + " could not be read"),
                                         "~/missing could not be read: No such file or directory."));
  EXPECT_EQ(outcome.findings.size(), 4U);
  EXPECT_FALSE(outcome.circumstances.partial);
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

TEST_F(ScanSession, ProgressOfSeveralRootsAddsUp) {
  makeProjects();
  ScanProgress last;
  auto asked = request({"code/fresh", "code/old"});
  asked.onProgress = [&](const ScanProgress& progress) {
    EXPECT_GE(progress.entriesVisited, last.entriesVisited);
    EXPECT_GE(progress.recoverableBytes, last.recoverableBytes);
    last = progress;
  };
  const auto outcome = runScan(asked);
  EXPECT_EQ(last.artifactsFound, 4U);
  EXPECT_EQ(last.projectsFound, 2U);
  EXPECT_EQ(last.recoverableBytes, 43210U);
  std::uint64_t freeable = 0;
  for (const FoundArtifact& found : outcome.findings) freeable += found.finding.freeable();
  EXPECT_EQ(last.freeableBytes, freeable);
}

}  // namespace
}  // namespace tidra
