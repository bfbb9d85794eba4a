#include "core/scan/repository_finder.h"

#include <unistd.h>

#include "tests/core/scan/scan_fixture.h"
#include "tests/support/temporary_tree.h"

namespace tidra {
namespace {

TEST(RepositoryFinder, FindsTheNearestRepositoryAtOrAboveAFolder) {
  const TemporaryTree tree;
  std::string deep = "outer";
  for (int level = 0; level < 500; ++level) deep += "/level";  // reached in several steps
  makeEntries(tree, {"outer/.git/", "outer/packages/a/", "outer/worktree/.git=5", "outerwear/p/", deep + "/.git/",
                     deep + "/in/it/"});
  RepositoryFinder finder;
  const std::vector<std::pair<std::string, std::string>> cases{
      {"outer/packages/a", "outer"}, {"outer", "outer"},     {"outer/worktree/x/y", "outer/worktree"},
      {deep + "/in/it", deep},       {deep + "/gone", deep}, {"outer/packages/gone/b", "outer"},
  };
  for (const auto& [folder, repository] : cases) {
    for (int time = 0; time < 2; ++time)
      EXPECT_EQ(finder.of(tree.path(folder)), tree.path(repository)) << folder.substr(0, 99);
  }
  EXPECT_EQ(finder.of(tree.path("outerwear/p")), RepositoryFinder{}.of(tree.root()));
}

TEST(RepositoryFinder, AStrangerMakesNoRepositoryOfASharedFolder) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root makes files of strangers";
  const TemporaryTree tree;
  const std::string name(200, 'n');
  const std::string deep = name + "/" + name + "/" + name + "/" + name + "/" + name + "/" + name;
  for (const std::string& shared : {std::string("tmp"), deep}) {
    makeEntries(tree, {shared + "/.git/", shared + "/p/"});
    constexpr uid_t stranger = 65534;
    ASSERT_EQ(::chown(tree.path(shared + "/.git").c_str(), stranger, stranger), 0);
    EXPECT_EQ(RepositoryFinder{}.of(tree.path(shared + "/p")), tree.path(shared)) << "as of a colleague";
    tree.setMode(shared, 01777);
    EXPECT_EQ(RepositoryFinder{}.of(tree.path(shared + "/p")), RepositoryFinder{}.of(tree.root()));
  }
}

TEST(RepositoryFinder, TheDepthOfAFolderIsNoMatter) {
  std::string folder = "/no-such-folder";
  for (int level = 0; level < 200000; ++level) folder += "/x";
  EXPECT_EQ(RepositoryFinder{}.of(folder), RepositoryFinder{}.of("/"));
}

}  // namespace
}  // namespace tidra
