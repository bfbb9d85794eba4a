// What a walk enters, reports and skips.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "tests/core/scan/scan_fixture.h"
#include "tests/support/matchers.h"

namespace tidra {
namespace {

const RuleCatalog catalog = catalogOf({plainRule("node_modules", "npm"), plainRule("target", "rust"),
                                       plainRule("build"), plainRule("Pack.app", "swift"), plainRule(".next", "npm")});

/// Scans the whole tree with these rules unless the request is changed.
class Walk : public testing::Test {
 protected:
  void make(const std::vector<std::string>& entries) const { makeEntries(tree, entries); }
  std::vector<std::string> lines() const { return linesOf(Scanner::scan(request).findings, tree); }
  std::vector<std::string> paths() const { return pathsOf(Scanner::scan(request).findings, tree); }

  const TemporaryTree tree;
  Scanner::Request request = requestFor(tree, catalog);
};

TEST_F(Walk, NeverFindsAnArtefactInsideAnotherButInARootThatIsOne) {
  make({"p/node_modules/a/node_modules/f=123", "p/node_modules/target/f=45", "p/node_modules/f=6"});
  EXPECT_THAT(lines(), ElementsAre("p/node_modules 6 npm node_modules p"));
  make({"target/a/target/f=1"});
  request.root = tree.path("target");
  EXPECT_THAT(paths(), ElementsAre("target/a/target"));
}

TEST_F(Walk, OnlyFoldersAreArtefactsAndLinksAreNeverFollowed) {
  const TemporaryTree outside;
  makeEntries(outside, {"target/f=12345", "big=1234567"});
  make({"file/node_modules=text", "link/node_modules->../real", "real/f", "up->..", "self->self",
        "outside->" + outside.root(), "p/target/f=1", "p/target/link->" + outside.path("big"), "p/target/loop->..",
        "p/target/folder->" + outside.root()});
  ASSERT_EQ(::mkfifo(tree.path("build").c_str(), 0600), 0);
  ASSERT_EQ(::mkfifo(tree.path("p/target/fifo").c_str(), 0600), 0);
  EXPECT_THAT(lines(), ElementsAre("p/target 1 rust target p"));
}

TEST_F(Walk, ASwitchedOffEcosystemIsNeitherReportedNorEntered) {
  make({"p/node_modules/x/target/f", "p/target/f", "p/src/.next/f"});
  request.enabledEcosystems = {"rust"};
  EXPECT_THAT(paths(), ElementsAre("p/target"));
  request.enabledEcosystems.emplace();
  EXPECT_THAT(Scanner::scan(request).findings, IsEmpty());
}

TEST_F(Walk, PackagesAreOpaqueAndHiddenFoldersAreNot) {
  make({"Tool.APP/target/f=1", "x.framework/target/f=1", "Pack.app/f=1234", "Pack.app/in.bundle/f=5",
        "p/target/lib.framework/f=123", "p/target/.app/f=7", "p/target/app/f=89", ".hidden/.next/f=1"});
  EXPECT_THAT(lines(), ElementsAre(".hidden/.next 1 npm .next .hidden", "Pack.app 4 swift Pack.app .",
                                   "p/target 3 rust target p"));
}

TEST_F(Walk, NeverEntersATrashOrQuarantineWhosever) {
  for (const char* store : {"ada/.tidra/quarantine/1-p", "disk/.tidra-quarantine/1-p", "disk/.Trash-1001/files/p",
                            "disk/.Trash/501/files/p", "disk/.Trashes/501/p", "ada/.local/share/Trash/files/p",
                            "known/quarantine/p", "a/T/files/p", "a/q/1-p", "a/q/lost"})
    make({std::string(store) + "/target/f", std::string(store) + "/target/keep"});
  make({"a/T/info/p.trashinfo", "a/q/1-p.tidra.json", "target/1-x/f", "target.tidra.json", "ada/.Trash-old/p/target/f",
        "ada/share/Trash/target/f", "b/files/target/f", "b/info/f", "c/x.tidra.json", "c/p/target/f",
        "ada/p/target/f"});
  request.stores = {{tree.path("known/quarantine"), StoreKind::quarantine}};
  EXPECT_THAT(paths(), UnorderedElementsAre("ada/.Trash-old/p/target", "ada/share/Trash/target", "ada/p/target",
                                            "b/files/target", "c/p/target"))
      << "the home folder is searched, but for what has a manifest there";
  for (const auto& [root, store] :
       TextPairs{{"a/q/1-p", "~/a/q/1-p lies in ~/a/q, a quarantine,"},
                 {"a/q/lost/target", "~/a/q/lost/target lies in ~/a/q, a quarantine,"},
                 {"a/T", "~/a/T is a trash,"},
                 {"a/T/files/p", "~/a/T/files/p lies in ~/a/T, a trash,"},
                 {"disk/.Trash-1001/files", "~/disk/.Trash-1001/files lies in ~/disk/.Trash-1001, a trash,"},
                 {"known/quarantine/p", "~/known/quarantine/p lies in ~/known/quarantine, a quarantine,"},
                 {"target", "~/target is a quarantine,"}}) {
    request.root = tree.path(root);
    const auto result = Scanner::scan(request);
    EXPECT_THAT(result.findings, IsEmpty()) << root;
    EXPECT_EQ(result.rootObstacle, store + " which scans skip.");
  }
}

TEST_F(Walk, AStrangerMakesNoStoreOfOthersFolders) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root makes files of strangers";
  make({"shared/p/target/f", "shared/p.tidra.json", "shared/target/f", "shared/target.tidra.json", "t/files/target/f",
        "t/info/p.trashinfo"});
  constexpr uid_t stranger = 65534;
  for (const char* planted : {"shared/p.tidra.json", "shared/target.tidra.json", "t/info/p.trashinfo"})
    ASSERT_EQ(::chown(tree.path(planted).c_str(), stranger, stranger), 0);
  EXPECT_THAT(paths(), UnorderedElementsAre("shared/p/target", "shared/target", "t/files/target"));
  // In the stranger's own folder the stranger's file decides.
  ASSERT_EQ(::chown(tree.path("shared").c_str(), stranger, stranger), 0);
  EXPECT_THAT(paths(), UnorderedElementsAre("t/files/target"));
}

TEST_F(Walk, LeavesOutArtefactsThatHoldWhatMustStay) {
  make({"a/target/deep/keep/f", "b/target/x/f", "c/target/.Trash-7/files/f", "d/target/q/1-x/f",
        "d/target/q/1-x.tidra.json", "e/target/node_modules/keep/f", "f/target/in/.tidra-keep", "g/target/.tidra-keep",
        "h/target/in/X.app/.Trash-7/f"});
  request.exclusionFilter = {{tree.path("a/target/deep/keep"), tree.path("b/target/gone")},
                             {"keep", "target/node*/k*"}};
  for (const unsigned workers : {1U, 8U}) {
    request.workers = workers;
    const auto result = Scanner::scan(request);
    // Removal asks about a keep file right in the artefact.
    EXPECT_THAT(pathsOf(result.findings, tree), ElementsAre("b/target", "g/target"));
    using enum KeptInside::Why;
    EXPECT_THAT(result.withheld,
                ElementsAre(WithheldFinding{tree.path("a/target"), {tree.path("a/target/deep/keep"), excluded}},
                            WithheldFinding{tree.path("c/target"), {tree.path("c/target/.Trash-7"), trash}},
                            WithheldFinding{tree.path("d/target"), {tree.path("d/target/q"), quarantine}},
                            WithheldFinding{tree.path("e/target"), {tree.path("e/target/node_modules/keep"), excluded}},
                            WithheldFinding{tree.path("f/target"), {tree.path("f/target/in/.tidra-keep"), keepFile}},
                            WithheldFinding{tree.path("h/target"), {tree.path("h/target/in/X.app/.Trash-7"), trash}}));
  }
}

TEST_F(Walk, SkipsWhatTheCatalogNames) {
  make({".cache/p/target/f", ".cache2/p/target/f", "p/.git/target/f", "p/.github/target/f", "go/pkg/target/f",
        "p/go/pkg/target/f", "vault/target/f", "p/*/target/f"});
  auto skipping =
      catalogOf({plainRule("target")}, {"~/.cache", ".git", "~/go/pkg", "$VAULT", "$UNKNOWN/x", "~/p/./q/.."});
  request.catalog = &skipping;
  request.resolver.environment["VAULT"] = tree.path("vault/");
  EXPECT_THAT(paths(), ElementsAre(".cache2/p/target"));

  skipping.walkSkipByPlatform = {{"linux", {"~/p"}}, {"macos", {"~/.cache2", "~/vault"}}};
  request.platform = TidraPlatform::linux;
  EXPECT_THAT(paths(), ElementsAre(".cache/p/target", ".cache2/p/target", "go/pkg/target", "vault/target"));
  request.platform = TidraPlatform::macOS;
  EXPECT_THAT(paths(), ElementsAre(".cache/p/target", "go/pkg/target", "p/*/target", "p/.git/target",
                                   "p/.github/target", "p/go/pkg/target"));
}

TEST_F(Walk, NamesMayBeAnyBytes) {
  std::vector<std::string> names{"a\nb", "a\"b'c", "a\x1b[31mb", "back\\slash", "tab\t", "*", "[x]", "\xe2\x80\xae"};
  if (anyByteNames) names.emplace_back("\xff\xfe broken");
  std::sort(names.begin(), names.end());
  std::vector<std::string> expected;
  for (const std::string& name : names) {
    tree.writeFile(name + "/target/" + name, "1");
    expected.push_back(name + "/target 1 rust target " + name);
  }
  EXPECT_EQ(lines(), expected);
}

TEST_F(Walk, UnreadableFoldersArePassedOverAndCounted) {
  make({"a/target/f=1", "closed/target/f=1", "b/target/f=12", "b/target/closed/f=1", "c/target/f=1", "d/f=1"});
  for (const char* closed : {"closed", "b/target/closed", "c/target"}) tree.setMode(closed, 0);
  const WithoutPrivileges bound(tree);
  const auto result = Scanner::scan(request);
  EXPECT_THAT(linesOf(result.findings, tree), ElementsAre("a/target 1 rust target a"));
  EXPECT_EQ(result.unreadableFolders, 3U);
  // Removal could open what the scan cannot read.
  const auto unread = [&](const char* artefact, const char* folder) {
    return WithheldFinding{tree.path(artefact), {tree.path(folder), KeptInside::Why::unreadable}};
  };
  EXPECT_THAT(result.withheld, ElementsAre(unread("b/target", "b/target/closed"), unread("c/target", "c/target")));
}

TEST_F(Walk, AnArtefactWhoseSizeCannotBeReadIsDropped) {
  make({"a/target/deep/f=1", "b/target/f=1", "c/target/empty/"});
  // Names can be listed, but files cannot be examined.
  for (const char* listable : {"a/target/deep", "c/target/empty"}) tree.setMode(listable, 0444);
  const WithoutPrivileges bound(tree);
  const auto result = Scanner::scan(request);
  EXPECT_THAT(pathsOf(result.findings, tree), ElementsAre("b/target", "c/target"));
  EXPECT_EQ(result.unmeasuredArtifacts, 1U);
}

TEST_F(Walk, EntersNoPseudoFileSystemAndOnRequestNoOtherOne) {
  make({"a/target/f", "disk/target/f", "disk/inner/target/f", "proc/target/f", "covered/target/f"});
  request.mounts = {{"/", "ext4", "8:1"},
                    {tree.path("proc"), "proc", "0:5"},
                    {tree.path("disk"), "ext4", "8:2"},
                    {tree.path("disk/inner"), "ext4", "8:1"},
                    {tree.path("covered"), "sysfs", "0:6"},
                    {tree.path("covered"), "ext4", "8:1"}};
  EXPECT_THAT(paths(), ElementsAre("a/target", "covered/target", "disk/inner/target", "disk/target"));
  request.oneFileSystem = true;
  EXPECT_THAT(paths(), ElementsAre("a/target", "covered/target"));
  request.root = tree.path("disk");
  EXPECT_THAT(paths(), ElementsAre("disk/target"));
}

TEST_F(Walk, MeasuresNoMountInsideAnArtefact) {
  make({"real/target/f=1", "real/target/proc/f=12", "real/target/a/disk/f=123", "real/target/a/f=1234",
        "real/mounted/target/f=12345", "link->real"});
  request.mounts = {{"/", "ext4", "8:1"},
                    {tree.path("real/target/proc"), "proc", "0:5"},
                    {tree.path("real/target/a/disk"), "ext4", "8:2"},
                    {tree.path("real/mounted"), "ext4", "8:2"},
                    {tree.path("real/mounted/target"), "ext4", "8:3"}};
  for (const char* root : {"real", "link"}) {
    request.root = tree.path(root);
    const std::string name = root;
    EXPECT_THAT(lines(), ElementsAre(name + "/mounted/target 5 rust target " + name + "/mounted",
                                     name + "/target 5 rust target " + name));
  }
}

TEST_F(Walk, ARootReachedThroughALinkKeepsItsSkipListExclusionsAndMounts) {
  make({"real/a/target/f", "real/skipped/target/f", "real/excluded/target/f", "real/proc/target/f",
        "real/named/target/f", "link->real"});
  const auto skipping = catalogOf({plainRule("target")}, {"~/real/skipped"});
  request.catalog = &skipping;
  request.exclusionFilter.pathPrefixes = {tree.path("real/excluded"), tree.path("link/named")};
  request.mounts = {{"/", "ext4", "8:1"}, {tree.path("real/proc"), "proc", "0:5"}};
  request.root = tree.path("link");
  EXPECT_THAT(paths(), ElementsAre("link/a/target"));
}

TEST_F(Walk, NotesWhyARootHasNoFindings) {
  make({"skipped/p/target/f", "mine/p/target/f", "proc/target/f", "link->mine/p"});
  const auto skipping = catalogOf({plainRule("target")}, {"~/skipped", "~/proc/sys", ".git"});
  request.catalog = &skipping;
  request.mounts = {{tree.path("proc"), "proc", "0:5"}};
  request.exclusionFilter.pathPrefixes = {tree.path("mine")};
  const auto obstacleOf = [&](const std::string& root) {
    request.root = tree.path(root);
    const auto result = Scanner::scan(request);
    EXPECT_TRUE(!result.rootObstacle || result.findings.empty()) << root;
    return result.rootObstacle.value_or("");
  };
  EXPECT_THAT(obstacleOf("skipped"), HasSubstr("~/skipped lies in a folder that scans skip"));
  EXPECT_THAT(obstacleOf("skipped/p"), AllOf(HasSubstr("~/skipped/p lies in a folder that scans skip"),
                                             HasSubstr("; --unskip '~/skipped', in a policy scan.unskip, walks it.")));
  EXPECT_THAT(obstacleOf("x/.git/y"), EndsWith("so no projects are searched in it."));
  tree.symlink("way-in", "skipped");
  EXPECT_THAT(obstacleOf("way-in/p"), HasSubstr("skip"));
  EXPECT_THAT(obstacleOf("mine/p"), HasSubstr("~/mine/p is excluded"));
  EXPECT_THAT(obstacleOf("link"), HasSubstr("~/link is excluded"));
  request.exclusionFilter.pathPrefixes = {tree.path("link")};
  EXPECT_THAT(obstacleOf("mine/p"), HasSubstr("~/mine/p is excluded"));
  EXPECT_THAT(obstacleOf("proc"), HasSubstr("~/proc is on a proc file system"));
  EXPECT_THAT(obstacleOf("proc/sys"), EndsWith("is on a proc file system, which holds no projects."));
  EXPECT_EQ(obstacleOf(""), "");
  EXPECT_EQ(obstacleOf("missing"), "");
  // System folders match by their own name only: on macOS /tmp is a link to /private/tmp.
  const auto skippingByName = catalogOf({plainRule("target")}, {tree.path("skipped")});
  request.catalog = &skippingByName;
  EXPECT_EQ(obstacleOf("way-in/p"), "");
  EXPECT_THAT(obstacleOf("skipped/p"), HasSubstr("skip"));
}

TEST_F(Walk, ARootIsNotAskedAboutByPatternsThatItsOwnNameMatches) {
  make({"p/lib/target/f", "p/lib/a/target/f", "p/lib/lib/target/f"});
  request.exclusionFilter.globPatterns = {"lib", "*/p/l*"};
  request.root = tree.path("p/lib");
  EXPECT_THAT(paths(), ElementsAre("p/lib/a/target", "p/lib/target"));
  const auto isKeptOut = [&] {
    return Scanner::scan(request).rootObstacle.value_or("").ends_with("is excluded, so nothing is reported for it.");
  };
  // The entries of a plan are not named roots.
  request.onlyNames = {"target"};
  EXPECT_TRUE(isKeptOut());
  request.onlyNames.reset();
  request.root = tree.path("p/lib/a");
  EXPECT_TRUE(isKeptOut());
  request.root = tree.path("p");
  request.exclusionFilter.pathPrefixes = {tree.path("p")};
  EXPECT_TRUE(isKeptOut());
}

}  // namespace
}  // namespace tidra
