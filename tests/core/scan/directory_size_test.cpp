#include "core/scan/directory_size.h"

#include <sys/stat.h>

#include <filesystem>

#include "core/platform/mount_table.h"
#include "tests/core/scan/scan_fixture.h"
#include "tests/support/mounted_file_system.h"
#include "tests/support/tables.h"

namespace tidra {
namespace {

using Sizes = std::vector<std::optional<std::uint64_t>>;

Sizes sizesOf(const std::vector<std::string>& paths, const TidraDirectorySizeReader::Options& options) {
  std::vector<TidraDirectorySizeReader::Folder> folders;
  for (const std::string& path : paths) folders.push_back({.path = path});
  Sizes sizes;
  for (const auto& size : TidraDirectorySizeReader::readAll(folders, options)) sizes.push_back(size.bytes);
  return sizes;
}

TEST(DirectorySize, CountsContentOncePerLinkAndFollowsNone) {
  const TemporaryTree tree;
  const TemporaryTree outside;
  makeEntries(outside, {"big=123456789"});
  makeEntries(tree, {"p/a/f=12345", "p/g=1", "p/link->" + outside.path("big"), "p/folder->" + outside.root(),
                     "p/up->..", "p/Tool.app/f=1234567", "p/.hidden/f=12"});
  std::filesystem::create_hard_link(tree.path("p/a/f"), tree.path("p/again"));
  constexpr std::uint64_t length = std::uint64_t{3} << 32U;
  tree.writeFileOfSize("p/sparse", length);
  EXPECT_EQ(TidraDirectorySizeReader::read(tree.path("p")), length + 5 + 5 + 1 + 2);
}

std::uint64_t allocatedBy(const TemporaryTree& tree, std::initializer_list<const char*> names) {
  std::uint64_t sum = 0;
  for (const char* name : names) {
    struct stat status {};
    EXPECT_EQ(::lstat(tree.path(name).c_str(), &status), 0) << name;
    sum += static_cast<std::uint64_t>(status.st_blocks) * 512;
  }
  return sum;
}

FoundArtifact measured(const std::string& path, const OverlayLayers& layers = {}) {
  auto sizes = TidraDirectorySizeReader::readAll({{path}}, {.layers = layers});
  FoundArtifact found;
  found.finding.sizeBytes = sizes[0].bytes.value();
  found.setUse(std::move(sizes[0].use));
  return found;
}

TEST(StorageUse, OfAnOverlayFreesWhatItsUpperLayerHolds) {
  const TemporaryTree tree;
  const MountedFileSystem volume(tree, R"(
    mount -t tmpfs none $W; mkdir -p $W/l/kept $W/l/mixed/old; cd $W/l
    for f in kept/f mixed/f mixed/changed mixed/old/f; do head -c 100000 /dev/zero >$f; done; ln mixed/f mixed/old/again
    sleep 0.02; mkdir $W/u $W/w; mount -t overlay -o lowerdir=$W/l,upperdir=$W/u,workdir=$W/w none $V
    echo >>$V/mixed/changed; mkdir $V/mixed/new; head -c 300000 /dev/zero >$V/mixed/new/f)");
  if (!volume) GTEST_SKIP() << "cannot be mounted here";
  const OverlayLayers layers(mountPoints());
  const FoundArtifact kept = measured(volume.path("kept"), layers);
  EXPECT_EQ(kept.finding.diskBytes, allocatedBy(tree, {"work/l/kept", "work/l/kept/f"}));
  EXPECT_EQ(kept.finding.freeableBytes, 0U);
  EXPECT_EQ(kept.finding.difference, SizeDifference::imageLayer);
  const FoundArtifact mixed = measured(volume.path("mixed"), layers);
  const auto above =
      allocatedBy(tree, {"work/u/mixed", "work/u/mixed/changed", "work/u/mixed/new", "work/u/mixed/new/f"});
  EXPECT_EQ(mixed.finding.freeableBytes, above);
  EXPECT_EQ(mixed.finding.diskBytes,
            above + allocatedBy(tree, {"work/l/mixed/f", "work/l/mixed/old", "work/l/mixed/old/f"}));
  EXPECT_EQ(measured(volume.path("mixed")).finding.freeableBytes, mixed.finding.diskBytes);
}

TEST(StorageUse, CountsBlocksOfEachInodeOnceAndFreesThoseWithoutLinksElsewhere) {
  const TemporaryTree tree;
  makeEntries(tree, {"a/f=1", "a/Tool.app/f=1", "a/to/link->" + std::string(500, 'x'), "b/f=1"});
  const std::string large(3'000'000, 'x');
  for (const char* file : {"a/inside", "a/both", "store"}) tree.writeFile(file, large);
  tree.writeFileOfSize("b/sparse", 50'000'000);
  const std::vector<std::pair<const char*, const char*>> links{{"a/inside", "a/to/again"},
                                                               {"a/both", "b/both"},
                                                               {"a/both", "b/twice"},
                                                               {"store", "a/store"},
                                                               {"store", "b/store"}};
  for (const auto& [from, to] : links) std::filesystem::create_hard_link(tree.path(from), tree.path(to));

  const auto a = measured(tree.path("a"));
  const auto b = measured(tree.path("b"));
  const std::uint64_t ofA =
      allocatedBy(tree, {"a", "a/f", "a/Tool.app", "a/Tool.app/f", "a/to", "a/to/link", "a/inside"});
  const std::uint64_t ofB = allocatedBy(tree, {"b", "b/f", "b/sparse"});
  const std::uint64_t both = allocatedBy(tree, {"a/both"});
  const std::uint64_t store = allocatedBy(tree, {"store"});
  EXPECT_EQ(a.finding.freeableBytes, ofA);
  EXPECT_EQ(a.finding.diskBytes, ofA + both + store);
  EXPECT_EQ(a.finding.difference, SizeDifference::hardLinks);
  EXPECT_EQ(b.finding.freeableBytes, ofB);
  EXPECT_EQ(b.finding.diskBytes, ofB + both + store);
  EXPECT_EQ(b.finding.difference, SizeDifference::sparseFiles);
  const CombinedUse together(std::vector<const FoundArtifact*>{&a, &b});
  EXPECT_EQ(together.freeableBytes(), ofA + ofB + both);
  EXPECT_EQ(together.diskBytes(), ofA + ofB + both + store);
  EXPECT_EQ(together.freeableOfParts({1, 0}, 2), (std::vector{ofB, ofA}));
  EXPECT_EQ(together.freeableOfParts({0, CombinedUse::noPart}, 1), std::vector{ofA});
}

TEST(DirectorySize, WhatCannotBeOpenedHoldsNothing) {
  const TemporaryTree tree;
  makeEntries(tree, {"file=123", "dangling->nowhere", "closed/f=1", "p/closed/f=1", "p/f=12"});
  for (const char* closed : {"closed", "p/closed"}) tree.setMode(closed, 0);
  const WithoutPrivileges bound(tree);
  for (const char* none : {"missing", "file", "dangling", "closed"})
    EXPECT_EQ(TidraDirectorySizeReader::read(tree.path(none)), 0U) << none;
  EXPECT_EQ(TidraDirectorySizeReader::read(tree.path("p")), 2U);
}

TEST(DirectorySize, IsUnknownWhenAttributesCannotBeReadOrTimeIsUp) {
  const TemporaryTree tree;
  makeEntries(tree, {"p/listable/f=1", "p/f=1", "q/f=12"});
  tree.setMode("p/listable", 0444);
  EXPECT_EQ(TidraDirectorySizeReader::read(tree.path("q"), std::chrono::milliseconds{0}), std::nullopt);
  EXPECT_EQ(sizesOf({tree.path("q")}, {.shouldCancel = [] { return true; }}), Sizes{std::nullopt});
  const WithoutPrivileges bound(tree);
  EXPECT_EQ(sizesOf({tree.path("q"), tree.path("p")}, {}), (Sizes{2, std::nullopt}));
}

TEST(DirectorySize, LeavesOutWhatIsMountedInside) {
  const TemporaryTree tree;
  makeEntries(tree, {"p/f=1", "p/a/disk/f=12", "p/a/f=123", "link->p"});
  const std::vector<MountPoint> mounts{{"/", "ext4", "8:1"}, {tree.path("p/a/disk"), "ext4", "8:2"}};
  EXPECT_EQ(sizesOf({tree.path("p"), tree.path("link"), tree.path("p/a/disk")}, {.mounts = mounts}), (Sizes{4, 4, 2}));
}

TEST(DirectorySize, SeveralFoldersComeInTheirOrder) {
  const TemporaryTree tree;
  std::vector<std::string> paths;
  Sizes expected;
  for (std::size_t i = 0; i < 60; ++i) {
    const std::string folder = "p" + std::to_string((i * 37) % 30);  // each twice
    tree.writeFile(folder + "/deep/er/f", std::string((i * 37) % 30, 'x'));
    paths.push_back(tree.path(folder));
    expected.emplace_back((i * 37) % 30);
  }
  for (const unsigned workers : {1U, 16U})
    EXPECT_EQ(sizesOf(paths, {.workers = workers}), expected) << workers << " workers";
  EXPECT_EQ(sizesOf({}, {}), Sizes{});
}

/// The folder "p", an exclusion, and what must stay because of it; empty for nothing.
TEST(DirectorySize, MeetsWhatMustStay) {
  for (const auto& [place, kept] :
       rowsOf("a/keep/f ; /T/p/a/keep => a/keep | a/keep ; /T/p/a/keep => a/keep | a/f ; /T/p/a/keep =>  | "
              "a/X.app/keep/f ; /T/p/a/X.app/keep => a/X.app/keep | a/keep/f ; /T/*/a/k* => a/keep | "
              "a/keep/f b/keep/f ; [ab]/keep => a/keep | a/[id]/f ; a/\\[id]/f => a/[id]/f | a/keep/f ; keep =>  | "
              "a/keep/f ; k* =>  | a/keep/f ; never:keep => a/keep | "
              "a/b/f.keep a/f.keeper ; never:*.keep => a/b/f.keep | a/keep/f keep/f ; never:*/a/k* => a/keep | "
              "a/keeper/f ; never:keep =>  | a/.Trash-1001/files/f ;  => a/.Trash-1001 | "
              "a/.Trash-old/files/f a/Trash/f a/files/f a/info/f ;  =>  | a/.Trashes/501/f ;  => a/.Trashes | "
              "home/.local/share/Trash/files/f ;  => home/.local/share/Trash | "
              "a/T/files/f a/T/info/f.trashinfo ;  => a/T | a/.tidra-quarantine/f ;  => a/.tidra-quarantine | "
              "a/q/1-x/f a/q/1-x.tidra.json ;  => a/q | "
              ".tidra-keep b/.tidra-keep a/X.app/.tidra-keep ;  => a/X.app/.tidra-keep | "
              "a/X.app/b/f.keep ; never:*.keep => a/X.app/b/f.keep | "
              "a/q/1-x.tidra.json a/q/.tidra.json a/q/y/z.tidra.json/f a/q/y/z/f ;  => ")) {
    const auto semicolon = place.find(';');
    const Texts entries = wordsOf(place.substr(0, semicolon));
    const std::string excluded(trimmed(place.substr(semicolon + 1)));
    const TemporaryTree tree;
    for (const std::string& entry : entries) tree.writeFile("p/" + entry, "1");
    TidraScanExclusionFilter exclusions;
    const bool isNever = excluded.starts_with("never:");
    if (isNever) {
      exclusions.keptPatterns.push_back(excluded.substr(excluded.find(':') + 1));
    } else if (excluded.starts_with("/T/p")) {
      exclusions.pathPrefixes.push_back(tree.root() + excluded.substr(2));
    } else if (!excluded.empty()) {
      exclusions.globPatterns.push_back(excluded.starts_with("/T") ? tree.root() + excluded.substr(2) : excluded);
    }
    std::filesystem::create_directory_symlink(tree.path("p"), tree.path("link"));
    for (const char* name : {"p", "link"}) {
      const std::string folder = tree.path(name);
      const auto size = TidraDirectorySizeReader::readAll({{folder}}, {.workers = 3, .exclusions = exclusions}).front();
      const std::string found = size.kept ? size.kept->path.substr(folder.size() + 1) : "";
      EXPECT_EQ(found, kept) << folder << " " << entries.front() << " " << excluded;
      const auto why = isNever ? KeptInside::Why::neverRemoved : KeptInside::Why::excluded;
      EXPECT_EQ(size.kept && size.kept->why == why, !kept.empty() && !excluded.empty());
    }
    // A trash is removed with its contents, unless excluded.
    const auto trash =
        TidraDirectorySizeReader::readAll({{.path = tree.path("p"), .isTrash = true}}, {.exclusions = exclusions});
    EXPECT_EQ(trash.front().kept.has_value(), !kept.empty() && !excluded.empty()) << entries.front();
  }
}

TEST(DirectorySize, NamesABoundedNumberOfRepositories) {
  const TemporaryTree tree;
  const auto inside = [&](const std::string& folder) {
    return TidraDirectorySizeReader::readAll({{tree.path(folder)}}, {.workers = 3}).front().repositories;
  };
  constexpr std::size_t more = RepositoriesInside::mostOfGit + 5;
  for (std::size_t i = 0; i < more; ++i) tree.writeFile("many/r" + std::to_string(10000 + i) + "/.git");
  const auto many = inside("many");
  EXPECT_EQ(many.ofGit.size(), RepositoriesInside::mostOfGit);
  EXPECT_EQ(many.ofGit.back(), tree.path("many/r" + std::to_string(10000 + RepositoriesInside::mostOfGit - 1)));
  EXPECT_TRUE(many.hasMore);

  std::string half;
  for (int i = 0; i < 9; ++i) half += "/" + std::string(250, 'd');
  tree.writeFile("other/x" + half + "/.git");
  tree.makeFolder("deep" + half);
  std::filesystem::rename(tree.path("other/x"), tree.path("deep" + half + "/x"));
  EXPECT_TRUE(inside("deep").ofGit.empty());
  EXPECT_TRUE(inside("deep").hasMore);

  makeEntries(tree, {"p/b/.hg/store/f", "p/a/.svn/wc.db", "q/CVS", "q/.fslckout", "r/CVS", "r/.hg"});
  using Foreign = RepositoriesInside::Foreign;
  EXPECT_EQ(inside("p"), (RepositoriesInside{.foreign = Foreign{tree.path("p/a"), "Subversion"}}));
  EXPECT_EQ(inside("q"), (RepositoriesInside{.foreign = Foreign{tree.path("q"), "Fossil"}}));
  EXPECT_EQ(inside("r"), RepositoriesInside{});
  makeEntries(
      tree, {"s/x/HEAD", "t/.git/HEAD", "t/.git/objects/f", "t/.git/refs/f", "s/x/objects/f", "s/x/refs/f",
             "t/.git/modules/m/HEAD", "t/.git/modules/m/objects/f", "t/.git/modules/m/refs/f", "u/RCS/f,v", "v/refs/f",
             "v/objects/f", "v/CVS/readme.md", "v/_darcs/f", "v/.hg/f", "v/RCS/f", "v/SCCS/f.s.x", "w/x/CVS/Entries"});
  EXPECT_EQ(inside("s").ofGit, std::vector{tree.path("s/x")});
  EXPECT_EQ(inside("t").ofGit, std::vector{tree.path("t")});
  EXPECT_TRUE(inside("u").foreign);
  EXPECT_EQ(inside("w").foreign, (Foreign{tree.path("w/x"), "CVS"}));
  EXPECT_EQ(inside("v"), RepositoriesInside{});
}

}  // namespace
}  // namespace tidra
