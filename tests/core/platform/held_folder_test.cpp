// Resolving paths for removal: no unsafe link and no odd spelling is accepted.
#include "core/platform/held_folder.h"

#include <unistd.h>

#include "core/platform/path_text.h"
#include "tests/support/matchers.h"
#include "tests/support/message_of.h"
#include "tests/support/temporary_tree.h"

namespace tidra {
namespace {

class HeldFolderTest : public testing::Test {
 protected:
  const TemporaryTree tree_;
};

TEST_F(HeldFolderTest, OwnLinksAreFollowedOnTheWayButNotAtTheEnd) {
  tree_.writeFile("real/folder/f");
  tree_.symlink("relative", "./real//folder");
  tree_.symlink("real/up", "../real/folder/..");
  tree_.symlink("absolute", tree_.path("real"));
  tree_.symlink("real/folder/last", "f");
  for (const char* way : {"relative", "real/up/folder", "absolute/folder", "absolute/up/up/folder", "real/./folder/"}) {
    EXPECT_EQ(holdFolder(tree_.path(way)).path, tree_.path("real/folder")) << way;
    EXPECT_EQ(holdEntry(tree_.path(way) + "/f").path(), tree_.path("real/folder/f")) << way;
  }
  const HeldEntry link = holdEntry(tree_.path("relative/last"));
  EXPECT_EQ(link.facts.type, EntryType::symbolicLink);
  EXPECT_EQ(link.path(), tree_.path("real/folder/last"));
  EXPECT_EQ(holdEntry(tree_.path("relative")).facts.type, EntryType::symbolicLink);
  EXPECT_EQ(holdEntry(tree_.path("real/folder/")).name, "folder");
}

TEST_F(HeldFolderTest, LinksOfAnotherUserAreRefused) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs a second user";
  tree_.writeFile("real/folder/f");
  const std::string link = tree_.symlink("link", "real/folder");
  ASSERT_EQ(::lchown(link.c_str(), 65534, 65534), 0);
  tree_.symlink("indirect", "link");
  for (const std::string way : {"link", "indirect"}) {
    const std::string path = tree_.path(way);
    for (const auto& message : {messageOf<UnsafePathError>([&] { holdFolder(path); }),
                                messageOf<UnsafePathError>([&] { holdEntry(path + "/f"); }),
                                messageOf<UnsafePathError>([&] { holdOrMakeFolder(path + "/new", 0700); })})
      EXPECT_EQ(message, link + " is a link that belongs to another user, so it is not followed") << way;
  }
  EXPECT_EQ(holdEntry(link).facts.type, EntryType::symbolicLink) << "the link itself may be removed";
}

TEST_F(HeldFolderTest, RefusesPathsThatMakeNoSense) {
  tree_.writeFile("f");
  for (const auto& [path, why] : TextPairs{{"relative/f", "not an absolute path"},
                                           {"", "not an absolute path"},
                                           {"~/f", "not an absolute path"},
                                           {tree_.path("a/../f"), "contains '..'"},
                                           {tree_.path(".."), "contains '..'"},
                                           {tree_.path("f") + std::string(1, '\0') + "g", "contains a NUL byte"}}) {
    EXPECT_THAT(messageOf<UnsafePathError>([&] { holdFolder(path); }), HasSubstr(why)) << path;
    EXPECT_THAT(messageOf<UnsafePathError>([&] { holdEntry(path); }), HasSubstr(why)) << path;
    EXPECT_THAT(messageOf<UnsafePathError>([&] { holdOrMakeFolder(path, 0700); }), HasSubstr(why)) << path;
  }
  for (const char* root : {"/", "//", "/."})
    EXPECT_THAT(messageOf<UnsafePathError>([&] { holdEntry(root); }), HasSubstr("is the root of the file system"))
        << root;
  tree_.symlink("loop", "loop");
  const auto codeOf = [&](const std::string& path) {
    try {
      holdFolder(tree_.path(path));
    } catch (const std::system_error& error) {
      return error.code();
    }
    return std::error_code{};
  };
  EXPECT_EQ(codeOf("loop"), std::errc::too_many_symbolic_link_levels);
  EXPECT_EQ(codeOf("missing/x"), std::errc::no_such_file_or_directory);
  EXPECT_EQ(codeOf("f"), std::errc::not_a_directory);
  EXPECT_EQ(codeOf(std::string(300, 'n')), std::errc::filename_too_long);
}

TEST_F(HeldFolderTest, TakesPathsLongerThanTheSystemDoes) {
  std::string path = tree_.root();
  const std::string name(200, 'n');
  for (int i = 0; i < 50; ++i) path = joinedPath(path, name);
  EXPECT_EQ(holdOrMakeFolder(path, 0750).path, path);
  EXPECT_EQ(holdFolder(path).path, path);
  const HeldEntry entry = holdEntry(path);
  EXPECT_EQ(entry.facts.type, EntryType::directory);
  EXPECT_EQ(entry.facts.permissions & 0027U, 0U) << "made with the permissions that were asked for";
}

}  // namespace
}  // namespace tidra
