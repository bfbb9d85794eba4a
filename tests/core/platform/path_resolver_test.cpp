#include "core/platform/path_resolver.h"

#include <gtest/gtest.h>

#include "core/platform/path_text.h"
#include "core/platform/path_variables.h"
#include "tests/support/tables.h"

namespace tidra {
namespace {

TEST(PathResolver, ResolvesTemplates) {
  const Environment environment{
      {"XDG_CONFIG_HOME", "/c"}, {"EMPTY", ""},  {"REL", "a/b"}, {"NESTED", "$HOME"}, {"TILDE", "~/x"},
      {"XDG_DATA_HOME", ""},     {"TMPDIR", ""}, {"HOME", ""},   {"A1_", "/x"},       {"UP", "/a/../b/"}};
  const TidraPathResolver resolver{"/home/ada", environment};
  for (const auto& [text, path] :
       rowsOf("~ => /home/ada | ~/ => /home/ada | ~/x//y/./z/ => /home/ada/x/y/z | ~/../bob => /home/bob | "
              "~user/x => /home/ada/~user/x | Library/Caches => /home/ada/Library/Caches |  => /home/ada | "
              "../../../.. => / | /opt//x/../y/ => /opt/y | ${XDG_CACHE_HOME}/x => /home/ada/.cache/x | "
              "$XDG_CONFIG_HOME/pip => /c/pip | $XDG_DATA_HOME => /home/ada/.local/share | "
              "$XDG_STATE_HOME => /home/ada/.local/state | $TMPDIR/x-* => /tmp/x-* | $HOME}/x => /home/ada/x | "
              "${HOME/x => /home/ada/x | $HOME$A1_ => /home/ada/x | ~/$REL => /home/ada/a/b | "
              "$REL/c => /home/ada/a/b/c | $TILDE/y => /home/ada/~/x/y | $UP/c => /b/c"))
    EXPECT_EQ(resolver.resolve(text), path) << text;
  // Expansion is not recursive: $NESTED leaves a "$".
  for (const char* text : {"$UNKNOWN/x", "$HOME/$UNKNOWN", "$HOMEx/y", "$home", "$NESTED/x", "$1/x", "cost$", "$$HOME",
                           "${}", "$EMPTY", "$EMPTY/build", "/${EMPTY}/build", "~/$EMPTY"})
    EXPECT_EQ(resolver.resolve(text), std::nullopt) << text;
  EXPECT_EQ(resolver.expandVariables("a ${HOME} $UNKNOWN ${EMPTY} $ {$A1_}"), "a /home/ada $UNKNOWN ${EMPTY} $ {/x");
  EXPECT_EQ(unknownVariable("$HOME/$5/${EMPTY}/$UNKNOWN", resolver), "EMPTY");
  EXPECT_EQ(unknownVariable("$HOME/cost$", resolver), std::nullopt);
  const TidraPathResolver moved{"/home/ada", {{"TMPDIR", "/t"}, {"HOME", "/elsewhere"}}};
  EXPECT_EQ(moved.resolve("$TMPDIR$HOME"), "/t/elsewhere");
  EXPECT_EQ(moved.resolve("~/x"), "/home/ada/x");
}

TEST(PathResolver, ShowsTheHomeFolderAsATilde) {
  const TidraPathResolver resolver{"/home/ada", {}};
  EXPECT_EQ(resolver.displayPath("/home/ada"), "~");
  EXPECT_EQ(resolver.displayPath("/home/ada/x"), "~/x");
  EXPECT_EQ(resolver.displayPath("/home/adam/x"), "/home/adam/x");
  const TidraPathResolver root{"/", {}};
  EXPECT_EQ(root.displayPath("/"), "~");
  EXPECT_EQ(root.displayPath("/x"), "/x");
  EXPECT_EQ(root.resolve("~/x"), "/x");
  EXPECT_EQ(root.resolve("$XDG_CACHE_HOME"), "/.cache");
}

TEST(PathText, TakesPathsApart) {
  const std::array<const char*, 4> paths[] = {{"/", "/", "/", ""},         {"/a", "/a", "/", "a"},
                                              {"/a/b", "/a/b", "/a", "b"}, {"/a/./b", "/a/b", "/a/.", "b"},
                                              {"/../a", "/a", "/..", "a"}, {"/a/...", "/a/...", "/a", "..."}};
  for (const auto& [path, standardized, parent, last] : paths) {
    EXPECT_EQ(standardizedPath(path), standardized);
    EXPECT_EQ(parentPath(path), parent);
    EXPECT_EQ(lastPathComponent(path), last);
  }
  EXPECT_TRUE(isSameOrInside("/a", "/a"));
  EXPECT_TRUE(isSameOrInside("/a/b", "/a"));
  EXPECT_TRUE(isSameOrInside("/a", "/"));
  EXPECT_FALSE(isSameOrInside("/ab", "/a"));
  EXPECT_FALSE(isSameOrInside("/", "/a"));
}

}  // namespace
}  // namespace tidra
