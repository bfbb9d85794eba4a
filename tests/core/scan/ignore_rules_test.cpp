// Git's ignore files, compared with git itself.
#include "core/scan/ignore_rules.h"
#include "tests/core/scan/scan_fixture.h"
#include "tests/support/git_repositories.h"
#include "tests/support/tables.h"

namespace tidra {
namespace {

class IgnoreRulesOfGit : public WithGitRepositories {};

TEST_F(IgnoreRulesOfGit, AgreeWithGitItself) {
  const std::string repository = tree_.makeFolder("r");
  git(repository, {"init", "-q"});
  tree_.writeFile("r/.gitignore",
                  "# comment\n\\#x\nplain\n/tied\na/b\n**/deep\nspan/**/end\ntail/**\n*.tmp\n[ab]c\nq?\n!a/b\nblank  \n"
                  "keep\\ \nslashed/\n!/x/plain\n/*/only\nf**g\ndd//ee\nhh//\n//ii\n");
  tree_.writeFile("r/all/.gitignore", "**/\n");
  tree_.writeFile("r/x/.gitignore", "!tied\nplain\n!deep\n/own/sub\n");
  Texts paths = wordsOf(
      "plain x/plain y/plain tied x/tied a/b x/a/b deep x/deep y/z/deep span/end span/p/end "
      "span/p/q/end tail tail/x tail/x/y v.tmp x/y/v.tmp ac cc qq q blank slashed x/slashed/s z/only "
      "only z/z/only x/own/sub own/sub f/g fxxg #x x y/q1/w x/own plain/in y/a/b/c span dd/ee ii all/j/k hh all");
  paths.emplace_back("keep ");
  IgnoreFinder finder({tree_.path("home"), environment_});
  for (const std::string& path : paths) {
    tree_.makeFolder("r/" + path);
    const auto said = tryGit(repository, {"check-ignore", "-q", path});
    ASSERT_TRUE(said);
    EXPECT_EQ(finder.of(tree_.path("r/" + path)).isIgnored, said->status == 0) << path;
  }
}

}  // namespace
}  // namespace tidra
