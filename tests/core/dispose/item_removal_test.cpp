// Deletion: removes the whole tree, whatever its shape, and nothing else.
#include "core/dispose/item_removal.h"

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <atomic>
#include <filesystem>

#include "core/base/joining_thread.h"
#include "core/dispose/disposal_error.h"
#include "core/dispose/tree_removal.h"
#include "core/model/removal_leftover.h"
#include "tests/support/matchers.h"
#include "tests/support/message_of.h"
#include "tests/support/temporary_mount.h"
#include "tests/support/temporary_tree.h"
#include "tests/support/without_privileges.h"

namespace tidra {
namespace {

namespace fs = std::filesystem;

constexpr uid_t nobody = 65534;

class ItemRemovalTest : public testing::Test {
 protected:
  void remove(const std::string& path, const std::function<bool()>& shouldCancel = {}, unsigned workers = 0) const {
    ItemRemoval::run(holdEntry(path), {.workers = workers, .shouldCancel = shouldCancel});
  }

  /// A chain of folders with a file each. Those for an unprivileged user forbid changes.
  void makeChain(const std::string& name, int depth, bool forNobody = false) const {
    FileDescriptor folder(::open(tree_.makeFolder(name).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    for (int i = 0; i < depth; ++i) {
      FileDescriptor(::openat(folder.get(), "f", O_CREAT | O_WRONLY | O_CLOEXEC, 0600));
      ASSERT_EQ(::mkdirat(folder.get(), "d", 0755), 0);
      FileDescriptor next(::openat(folder.get(), "d", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
      ASSERT_TRUE(next) << "level " << i;
      ASSERT_TRUE(!forNobody || ::geteuid() != 0 || ::fchown(folder.get(), nobody, nobody) == 0);
      ASSERT_TRUE(!forNobody || ::fchmod(folder.get(), 0555) == 0);
      folder = std::move(next);
    }
  }

  Texts leftovers() const {
    Texts names;
    for (const auto& entry : fs::directory_iterator(tree_.root())) {
      if (RemovalLeftover::is(entry.path().filename().string())) names.push_back(entry.path());
    }
    return names;
  }

  const TemporaryTree tree_;
};

TEST_F(ItemRemovalTest, CountsWhatGoes) {
  for (const char* name : {"t/a/f", "t/a/g", "t/b/f", "t/c/d/f"}) tree_.writeFile(name);
  std::atomic<std::uint64_t> removed{5};
  ItemRemoval::run(holdEntry(tree_.path("t")), {.removedEntries = &removed});
  EXPECT_EQ(removed, 5U + 4 + 4) << "files, and the folders in it";
}

TEST_F(ItemRemovalTest, RemovesDeepTrees) {
  tree_.writeFile("stays", "x");
  for (const int depth : {63, 64, 65, 2000, 20000}) {
    makeChain("deep", depth);
    remove(tree_.path("deep"));
    EXPECT_EQ(tree_.snapshot().size(), 2U) << depth;
  }
}

TEST_F(ItemRemovalTest, RemovesWideAndDeepTreesWithFewDescriptors) {
  // In its own process: the descriptor limit is read only once.
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto removeWithFewDescriptors = [this] {
    const rlimit few{64, 64};
    ::setrlimit(RLIMIT_NOFILE, &few);
    for (int i = 0; i < 40; ++i) makeChain("wide/" + std::to_string(i), 150);
    for (int i = 0; i < 300; ++i) tree_.makeFolder("wide/flat/" + std::to_string(i) + "/a/b");
    const std::string told = messageOf<std::exception>([this] { remove(tree_.path("wide"), {}, 8); });
    std::fprintf(stderr, "%s, %zu remain", told.c_str(), tree_.snapshot().size() - 1);
    // Exiting does not destroy the object, so remove its folder here.
    fs::remove(tree_.root());
    std::_Exit(0);
  };
  EXPECT_EXIT(removeWithFewDescriptors(), testing::ExitedWithCode(0), "nothing was thrown.*, 0 remain");
}

TEST_F(ItemRemovalTest, RemovesOddNames) {
  Texts names{"line\nbreak", "-rf", " ", "*", "...", ".0", ".1", ".2", std::string(255, 'n'), "\x7f"};
  if (anyByteNames) names.insert(names.end(), {"\xff\xfe", "a\xc3"});
  for (const std::string& name : names) {
    tree_.writeFile("odd/" + name + "/" + name + "/f");
    tree_.writeFile("odd/x" + name.substr(1) + "/f");
  }
  // Deeper than one round handles: folders are moved up among names that are taken there.
  makeChain("odd/.3", 200);
  for (const std::string& name : names) tree_.writeFile("odd/" + name + "/inner/" + name);
  remove(tree_.path("odd"));
  EXPECT_EQ(tree_.snapshot().size(), 1U);
}

TEST_F(ItemRemovalTest, NeverFollowsALink) {
  tree_.writeFile("victim/inner/f", "precious");
  tree_.symlink("item/a", "../victim");
  tree_.symlink("item/b/deep", tree_.path("victim/inner"));
  tree_.symlink("item/c", tree_.path("victim/inner/f"));
  tree_.symlink("item/loop", "loop");
  tree_.symlink("link", "victim");
  const auto before = snapshotOf(tree_.path("victim"));
  remove(tree_.path("item"));
  remove(tree_.path("link"));
  EXPECT_EQ(snapshotOf(tree_.path("victim")), before);
  EXPECT_EQ(tree_.snapshot().size(), before.size() + 1);
}

TEST_F(ItemRemovalTest, RemovesPipesAndHardLinksWithoutTouchingTheOtherName) {
  const std::string kept = tree_.writeFile("kept", "both");
  tree_.makeFolder("item");
  ASSERT_EQ(::link(kept.c_str(), tree_.path("item/hard").c_str()), 0);
  ASSERT_EQ(::mkfifo(tree_.path("item/pipe").c_str(), 0600), 0);
  remove(tree_.path("item"));
  EXPECT_EQ(tree_.snapshot().size(), 2U);
  EXPECT_EQ(fs::file_size(kept), 4U);
}

TEST_F(ItemRemovalTest, OpensUpItsOwnFolders) {
  for (const std::string folder : {"item", "item/read-only", "item/read-only/below", "item/closed", "item/closed/a",
                                   "item/closed/a/b", "item/blind", "item/empty-closed"}) {
    if (!folder.ends_with("empty-closed")) tree_.writeFile(folder + "/f");
    tree_.makeFolder(folder);
  }
  handOver(tree_);
  for (const char* closed : {"item/closed/a/b", "item/closed/a", "item/closed", "item/empty-closed"})
    tree_.setMode(closed, 0);
  for (const char* readOnly : {"item/read-only/below", "item/read-only"}) tree_.setMode(readOnly, 0555);
  tree_.setMode("item/blind", 0311);
  tree_.setMode("item", 0500);
  {
    const WithoutPrivileges bound(tree_);
    remove(tree_.path("item"));
  }
  EXPECT_EQ(tree_.snapshot().size(), 1U);
}

TEST_F(ItemRemovalTest, RemovesADeepReadOnlyTree) {
  handOver(tree_);
  makeChain("item", 3000, true);
  {
    const WithoutPrivileges bound(tree_);
    remove(tree_.path("item"));
  }
  EXPECT_EQ(tree_.snapshot().size(), 1U);
}

TEST_F(ItemRemovalTest, PutsBackAFolderOfWhichNothingCouldBeRemoved) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs a second user";
  tree_.makeFolder("item");
  handOver(tree_);
  tree_.writeFile("item/theirs/f", "x");
  const auto before = withoutFolderTimes(tree_.snapshot());
  const WithoutPrivileges bound(tree_);
  EXPECT_THAT(messageOf<DisposalError>([&] { remove(tree_.path("item")); }),
              HasSubstr("theirs/f in it could not be removed: Permission denied, so it stays in its place"));
  EXPECT_EQ(withoutFolderTimes(tree_.snapshot()).size(), before.size());
  EXPECT_TRUE(fs::exists(tree_.path("item/theirs/f")));
}

TEST_F(ItemRemovalTest, LeavesWhatBelongsToOthersAndSaysWhatIsLeft) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs a second user";
  tree_.writeFile("item/mine/f");
  handOver(tree_);
  tree_.writeFile("item/theirs/f", "x");
  std::string told;
  {
    const WithoutPrivileges bound(tree_);
    told = messageOf<DisposalError>([&] { remove(tree_.path("item")); });
  }
  ASSERT_EQ(leftovers().size(), 1U);
  EXPECT_THAT(told, AllOf(HasSubstr("theirs/f in it could not be removed: Permission denied"),
                          HasSubstr("what is left lies in " + leftovers().front())));
  EXPECT_EQ(snapshotOf(leftovers().front()).size(), 3U) << "all that could be removed is gone";
}

TEST_F(ItemRemovalTest, LeavesWhatIsMountedInsideAlone) {
  tree_.writeFile("item/a/f");
  const TemporaryMount mount(tree_.makeFolder("item/deep/mounted"));
  if (!mount) GTEST_SKIP() << "mounting is not permitted";
  tree_.writeFile("item/deep/mounted/inner/f", "beyond");
  const auto before = snapshotOf(mount.path());
  const std::string told = messageOf<DisposalError>([&] { remove(tree_.path("item")); });
  ASSERT_EQ(leftovers().size(), 1U);
  EXPECT_THAT(told, AllOf(HasSubstr("deep/mounted in it is a mounted file system, which is left alone"),
                          HasSubstr(leftovers().front())));
  EXPECT_EQ(snapshotOf(leftovers().front() + "/deep/mounted"), before);
  EXPECT_FALSE(fs::exists(leftovers().front() + "/a"));
  ::umount2((leftovers().front() + "/deep/mounted").c_str(), MNT_DETACH);
}

TEST_F(ItemRemovalTest, LeavesABindMountOfTheSameVolumeAlone) {
  tree_.writeFile("victim/f", "precious");
  const auto bound = TemporaryMount::bind(tree_.path("victim"), tree_.makeFolder("item/bound"));
  if (!bound) GTEST_SKIP() << "mounting is not permitted";
  EXPECT_THAT(messageOf<DisposalError>([&] { remove(tree_.path("item")); }), HasSubstr("mounted file system"));
  EXPECT_TRUE(fs::exists(tree_.path("victim/f")));
  for (const std::string& leftover : leftovers()) ::umount2((leftover + "/bound").c_str(), MNT_DETACH);
}

TEST_F(ItemRemovalTest, EndsWhileAnotherRefillsTheTree) {
  for (int i = 0; i < 20; ++i) {
    tree_.writeFile("item/inner/f");
    const FileDescriptor inner(::open(tree_.path("item/inner").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    std::atomic<bool> stop{false};
    JoiningThread refiller([&] {
      for (unsigned n = 0; !stop; ++n) {
        const std::string name = std::to_string(n % 50);
        FileDescriptor(::openat(inner.get(), name.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600));
        ::mkdirat(inner.get(), ("d" + name).c_str(), 0700);
      }
    });
    const std::string told = messageOf<DisposalError>([&] { remove(tree_.path("item")); });
    stop = true;
    refiller.join();
    EXPECT_FALSE(fs::exists(tree_.path("item")));
    if (leftovers().empty()) continue;
    EXPECT_THAT(told, HasSubstr("is being filled again by another program; what is left lies in "));
    remove(leftovers().front());
    ASSERT_TRUE(leftovers().empty());
  }
}

TEST_F(ItemRemovalTest, ACancelledRemovalIsFinishedByTheNextRun) {
  for (int i = 0; i < 500; ++i) tree_.writeFile("item/d" + std::to_string(i) + "/f");
  const std::string told = messageOf<DisposalError>([&] { remove(tree_.path("item"), [] { return true; }); });
  EXPECT_FALSE(fs::exists(tree_.path("item"))) << "gone for everyone at once";
  ASSERT_EQ(leftovers().size(), 1U);
  EXPECT_THAT(told, AllOf(HasSubstr("was interrupted"), HasSubstr(leftovers().front()), HasSubstr("tidra clean ")));
  remove(leftovers().front());
  EXPECT_EQ(tree_.snapshot().size(), 1U);
}

TEST_F(ItemRemovalTest, AnotherFolderInThePlaceIsLeftAlone) {
  tree_.writeFile("item/f", "old");
  const HeldEntry entry = holdEntry(tree_.path("item"));
  fs::rename(tree_.path("item"), tree_.path("elsewhere"));
  tree_.writeFile("item/g", "new");
  const auto before = withoutFolderTimes(tree_.snapshot());
  EXPECT_THAT(messageOf<DisposalError>([&] { ItemRemoval::run(entry, {}); }), HasSubstr("replaced by something else"));
  const auto result = TreeRemoval::run(entry.folder.descriptor.get(), "item", entry.facts.identity, {});
  EXPECT_FALSE(result.complete);
  EXPECT_EQ(result.obstacle, std::errc::no_such_file_or_directory);
  EXPECT_EQ(withoutFolderTimes(tree_.snapshot()), before);
}

}  // namespace
}  // namespace tidra
