// Several roots, what exclusions keep out of them, and what is said of each.
#include <map>

#include "core/base/text.h"
#include "core/scan/exclusion_entry.h"
#include "core/scan/exclusion_use.h"
#include "tests/core/session/scan_session_fixture.h"
#include "tests/support/without_privileges.h"

namespace tidra {
namespace {

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
