// Disposal of single items: receipts, refusals, and what is never removed.
#include "core/dispose/deletion_service.h"

#include <unistd.h>

#include <chrono>
#include <iterator>
#include <sstream>
#include <thread>

#include "core/dispose/disposal_error.h"
#include "tests/core/dispose/disposal_fixture.h"
#include "tests/support/matchers.h"
#include "tests/support/message_of.h"
#include "tests/support/noted_removal.h"
#include "tests/support/temporary_mount.h"
#include "tests/support/without_privileges.h"

namespace tidra {
namespace {

constexpr std::array everyMethod{DisposalMethod::trash, DisposalMethod::quarantine, DisposalMethod::delete_};

class DeletionService : public DisposalTest {};

TEST_F(DeletionService, EachMethodTellsWhereThingsWentAndHowMuchTheyHeld) {
  for (const DisposalMethod method : everyMethod) {
    tree_.writeFile("home/p/item/inner/f", std::string(1000, 'x'));
    tree_.writeFile("home/p/file", "four");
    for (const auto& [path, bytes] : {std::pair{"home/p/item", 1000}, std::pair{"home/p/file", 4}}) {
      const auto before = tree_.snapshot();
      const auto planned = disposed(tree_.path(path), method, true);
      EXPECT_EQ(tree_.snapshot(), before) << "a dry run changes nothing";
      const auto receipt = disposed(tree_.path(path), method);
      EXPECT_EQ(receipt.bytes, bytes);
      EXPECT_EQ(planned, (DisposalReceipt{tree_.path(path), method, {}, bytes, now}));
      EXPECT_FALSE(exists(tree_.path(path)));
      EXPECT_EQ(receipt.destination.has_value(), method != DisposalMethod::delete_);
      EXPECT_TRUE(!receipt.destination || exists(*receipt.destination)) << *receipt.destination;
    }
  }
}

TEST_F(DeletionService, AFolderMadeAnewWithTheSameInodeIsAnotherOne) {
  tree_.writeFile("home/code/target/f", "x");
  auto seen = pathFacts(tree_.path("home/code/target"))->identity;
  if (!seen.bornNanos) GTEST_SKIP() << "no birth times here";
  --*seen.bornNanos;
  for (const auto method : everyMethod) {
    for (const bool dryRun : {true, false}) {
      const auto outcome = service().dispose({{"~/code/target", seen}}, method, dryRun, config());
      ASSERT_EQ(outcome.failures.size(), 1U);
      EXPECT_THAT(outcome.failures[0].message, HasSubstr("replaced by something else since the scan"));
    }
  }
  seen.bornNanos.reset();
  EXPECT_EQ(service().dispose({{"~/code/target", seen}}, DisposalMethod::delete_, false, config()).receipts.size(), 1U);
}

TEST_F(DeletionService, WhatTheUserMayNotEmptyStaysInItsPlace) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs a second user";
  tree_.makeFolder("home/code");
  handOver(tree_);
  tree_.writeFile("home/code/target/f", "x");
  const auto before = snapshotOf(tree_.path("home/code"));
  const WithoutPrivileges bound(tree_);
  for (const auto method : everyMethod) {
    for (const bool dryRun : {true, false}) {
      EXPECT_THAT(refusal("~/code/target", method, dryRun), HasSubstr("belongs to root and may not be emptied by you"));
    }
  }
  EXPECT_EQ(snapshotOf(tree_.path("home/code")), before);
}

TEST_F(DeletionService, AnItemOfSeveralOwnersIsRemovedWholeOrNotAtAll) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs a second user";
  const std::string item = tree_.path("home/code/target");
  for (const auto& [mode, holds] : {std::pair{0755, true}, {0700, true}, {01777, true}, {0777, true}, {0755, false}}) {
    tree_.writeFile("home/code/target/own/f", "x");
    std::filesystem::remove_all(item + "/sub");
    handOver(tree_);
    ASSERT_EQ(::lchown(tree_.makeFolder("home/code/target/sub").c_str(), 0, 0), 0);
    if (holds) tree_.writeFile("home/code/target/sub/f");
    tree_.setMode("home/code/target/sub", mode);
    const WithoutPrivileges bound(tree_);
    if (mode == 0777 || !holds) {
      disposed(item, DisposalMethod::delete_);
      continue;
    }
    const auto reason = HasSubstr("sub, which belongs to root and may not be emptied by you, so it stays");
    for (const auto method : {DisposalMethod::trash, DisposalMethod::delete_})
      expectRefused(item, method, mode == 0700 ? HasSubstr("/sub") : reason);
    if (mode == 0700) continue;
    // One rename moves it to quarantine as a whole, and back.
    disposed(item, DisposalMethod::quarantine);
    const auto purged = disposer().purge(0, now + std::chrono::seconds(1));
    ASSERT_EQ(purged.failures.size(), 1U);
    EXPECT_THAT(purged.failures[0].message, AllOf(StartsWith("holds " + purged.failures[0].path), reason));
    disposer().restore(disposer().list().entries.at(0));
    EXPECT_EQ(namesIn(item), (std::vector<std::string>{"own", "sub"}));
  }
}

TEST_F(DeletionService, FailuresAreToldAndDoNotStopTheRest) {
  tree_.writeFile("home/code/target/f", "x");
  const auto seen = pathFacts(tree_.path("home/code/target"))->identity;
  tree_.writeFile("home/code/other/f", "x");
  std::vector<std::size_t> begun, finished;
  const TidraDeletionService::ListHooks hooks{
      .refuse = [&](std::size_t index) -> std::optional<std::string> {
        begun.push_back(index);
        if (index == 7) return "stays";
        return std::nullopt;
      },
      .finished = [&](std::size_t index, const auto&) { finished.push_back(index); }};
  const auto outcome = service().dispose({{"~/missing", {}},
                                          {"~/code/missing/x", {}},
                                          {"~/code/other", seen},
                                          {"~/code/target", seen},
                                          {"code/other", {}},
                                          {"~/code/../code/other", {}},
                                          {std::string("/tmp/a\0b", 8), {}},
                                          {"~/code/other", {}}},
                                         DisposalMethod::delete_, false, config(), hooks);
  EXPECT_THAT(begun, ElementsAre(0, 1, 2, 3, 4, 5, 6, 7));
  EXPECT_EQ(finished, begun);
  ASSERT_EQ(outcome.receipts.size(), 1U);
  EXPECT_EQ(outcome.receipts[0].path, "~/code/target") << "as given";
  std::vector<std::string> messages;
  for (const auto& failure : outcome.failures) messages.push_back(failure.message);
  EXPECT_THAT(messages, ElementsAre("Path not found", "Path not found", HasSubstr("replaced by something else"),
                                    HasSubstr("not an absolute path"), HasSubstr("'..'"), HasSubstr("NUL"), "stays"));
  for (const auto method : everyMethod) EXPECT_EQ(refusal("~/missing", method, true), "Path not found");
  EXPECT_TRUE(exists(tree_.path("home/code/other/f")));
}

TEST_F(DeletionService, CancellingStopsBetweenItems) {
  for (const char* name : {"a", "b", "c"}) tree_.writeFile(std::string("home/p/") + name);
  int asked = 0;
  shouldCancel_ = [&] { return ++asked > 1; };
  const auto outcome =
      service().dispose({{"~/p/a", {}}, {"~/p/b", {}}, {"~/p/c", {}}}, DisposalMethod::delete_, false, config());
  EXPECT_EQ(outcome.receipts.size(), 1U);
  EXPECT_TRUE(outcome.failures.empty());
  EXPECT_EQ(namesIn(tree_.path("home/p")), (std::vector<std::string>{"b", "c"}));
}

TEST_F(DeletionService, ATreeWhoseMeasuringIsBrokenOffStays) {
  tree_.writeFile("home/p/item/f");
  shouldCancel_ = [] { return true; };
  const auto before = tree_.snapshot();
  for (const auto method : everyMethod) EXPECT_THAT(refusal("~/p/item", method), HasSubstr("stays in its place"));
  EXPECT_EQ(tree_.snapshot(), before);
}

TEST_F(DeletionService, WhatTookTheItemsPlaceMovesBackOutOfAStore) {
  const HeldEntry entry = holdEntry(tree_.writeFile("home/p/f", "seen"));
  std::filesystem::rename(tree_.path("home/p/f"), tree_.path("home/p/aside"));
  tree_.writeFile("home/p/f", "another");
  auto quarantines = disposer();
  auto trashes = trash();
  for (const auto& move : std::vector<std::function<void()>>{[&] { quarantines.quarantine(entry, "/f", 4, now); },
                                                             [&] { trashes.trash(entry, "/f", now); }}) {
    EXPECT_THAT(messageOf<DisposalError>(move), HasSubstr("replaced by something else"));
    EXPECT_EQ(*readFile(tree_.path("home/p/f")), "another");
  }
  for (const char* store : {"home/.tidra/quarantine", "home/.local/share/Trash/files", "home/.local/share/Trash/info"})
    EXPECT_THAT(namesIn(tree_.path(store)), IsEmpty()) << store;
}

TEST_F(DeletionService, AReadOnlyFolderMovesAndStaysReadOnly) {
  for (const auto method : {DisposalMethod::trash, DisposalMethod::quarantine}) {
    tree_.writeFile("home/p/item/f");
    tree_.setMode("home/p/item", 0555);
    handOver(tree_);
    const WithoutPrivileges user(tree_);
    EXPECT_EQ(pathFacts(*disposed(tree_.path("home/p/item"), method).destination)->permissions, 0555U);
  }
}

TEST_F(DeletionService, ADryRunForeseesWhatTheRunMayNotDo) {
  tree_.writeFile("home/closed/f");
  tree_.writeFile("home/open/f");
  tree_.setMode("home/open", 0777);
  tree_.writeFile("home/sticky/f");
  tree_.setMode("home/sticky", 01777);
  tree_.writeFile("locked/f");
  tree_.setMode("locked", 0555);
  tree_.setMode("home", 0555);
  const WithoutPrivileges user(tree_);
  for (const auto method : everyMethod) expectRefused(tree_.path("locked/f"), method, "Permission denied");
  for (const auto method : {DisposalMethod::trash, DisposalMethod::quarantine})
    expectRefused(tree_.path("home/open/f"), method, EndsWith("Permission denied"));
  if (pathFacts(tree_.path("home"))->owner != ::geteuid()) {
    expectRefused(tree_.path("home/closed/f"), DisposalMethod::delete_, "Permission denied");
    expectRefused(tree_.path("home/sticky/f"), DisposalMethod::delete_, "Operation not permitted");
  }
  disposed(tree_.path("home/open/f"), DisposalMethod::delete_, true);
}

TEST_F(DeletionService, LeftoversAreFinishedWhateverTheMethod) {
  const std::string leftover = tree_.makeFolder("home/p/.tidra-removing-0123456789abcdef");
  noteRemoval(leftover);
  const auto receipt = disposed(leftover, DisposalMethod::trash);
  EXPECT_EQ(receipt.method, DisposalMethod::delete_);
  EXPECT_FALSE(receipt.destination);
  EXPECT_TRUE(namesIn(tree_.path("home/p")).empty());
}

TEST_F(DeletionService, ProtectedPlacesStayWhateverTheWay) {
  tree_.writeFile("home/.config/tidra/settings", "x");
  tree_.writeFile("home/.local/share/Trash/files/f");
  tree_.makeFolder("home/.local/share/Trash/info");
  tree_.makeFolder("home/.tidra/quarantine");
  for (const char* store : {"disk/.Trash-4711/files", "disk/.Trashes/501", "ada/.local/share/Trash/files",
                            "else/T/files", "home/p/build/quarantine", "home/.tidra/quarantine"})
    tree_.writeFile(std::string(store) + "/1-x/f", "x");
  tree_.writeFile("else/T/info/1-x.trashinfo");
  tree_.writeFile("home/p/build/quarantine/2-x/f", "x");
  tree_.writeFile("home/p/build/quarantine/2-x.tidra.json", "{}");
  tree_.symlink("way", "home");
  tree_.symlink("outer", "..");
  const std::string own = tree_.path("home/.config/tidra");
  auto tidra = service({own, tree_.path("home/not/there/yet")});
  tree_.makeFolder("home/not/there");
  const auto before = tree_.snapshot();
  for (const auto& [path, why] : TextPairs{
           {"/", "is the root of the file system"},
           {"/usr", "a folder directly in /"},
           {"/no-such-folder-here", "Path not found"},
           {"~", "is the home folder"},
           {"~/", "is the home folder"},
           {"~/.", "is the home folder"},
           {tree_.root(), "holds the home folder"},
           {parentPath(tree_.root()), "is protected"},
           {tree_.path("outer") + "/" + std::string(lastPathComponent(tree_.root())), "holds the home folder"},
           {own, "is a folder that Tidra keeps things in"},
           {tree_.path("way/.config"), "holds a folder that Tidra keeps things in"},
           {tree_.path("way/.config/tidra"), "is a folder that Tidra keeps things in"},
           {tree_.path("home/not"), "holds a folder that Tidra keeps things in"},
           {tree_.path("way/.tidra"), "holds a folder that Tidra keeps things in"},
           {tree_.path("home/.tidra/quarantine"), "is a folder that Tidra keeps things in"},
           {tree_.path("home/.local"), "holds a folder that Tidra keeps things in"},
           {tree_.path("home/.local/share/Trash"), "is a folder that Tidra keeps things in"},
           {tree_.path("home/.local/share/Trash/info"), "is a folder that Tidra keeps things in"},
           {tree_.path("home/.local/share/Trash/files/f"), "Trash is a trash, and what is in one is only removed by"},
           {tree_.path("way/.tidra/quarantine/1-x"), "quarantine is a quarantine, and what is in one"},
           {tree_.path("disk/.Trash-4711/files/1-x"), "disk/.Trash-4711 is a trash"},
           {tree_.path("disk/.Trash-4711"), "disk/.Trash-4711 is a trash"},
           {tree_.path("disk"), "holds " + tree_.path("disk/.Trash-4711") + ", which is a trash, so it stays"},
           {tree_.path("disk/.Trashes/501/1-x/f"), "disk/.Trashes is a trash"},
           {tree_.path("ada/.local/share/Trash/files/1-x"), "Trash is a trash"},
           {tree_.path("else/T/files/1-x"), "else/T is a trash"},
           {tree_.path("home/p/build/quarantine/1-x/f"), "build/quarantine is a quarantine"},
           {tree_.path("home/p/build/quarantine/2-x"), "build/quarantine is a quarantine"},
           {tree_.path("home/p/build"), "holds ~/p/build/quarantine, which is a quarantine, so it stays"}}) {
    for (const auto method : everyMethod) {
      for (const bool dryRun : {true, false}) {
        const auto result = tidra.dispose({path, {}}, method, dryRun, config());
        const auto* failure = std::get_if<TidraDeletionFailure>(&result);
        ASSERT_NE(failure, nullptr) << path;
        EXPECT_THAT(failure->message, HasSubstr(why)) << path;
      }
    }
  }
  EXPECT_EQ(tree_.snapshot(), before);
  // The link to the home folder is not the home folder.
  disposed(tree_.path("way"), DisposalMethod::delete_);
  EXPECT_TRUE(exists(tree_.path("home/.config/tidra/settings")));
}

TEST_F(DeletionService, MountPointsAndWhatHoldsThemStay) {
  const TemporaryMount mount(tree_.makeFolder("home/p/item/mounted"));
  if (!mount) GTEST_SKIP() << "mounting is not permitted";
  tree_.writeFile("home/p/item/mounted/f", "x");
  tree_.symlink("way", "home/p");
  for (const auto method : everyMethod) {
    expectRefused(tree_.path("way/item/mounted"), method, HasSubstr("is a mounted file system"));
    expectRefused(tree_.path("way/item"), method,
                  "holds a mounted file system at " + mount.path() + "; unmount it first");
  }
  EXPECT_TRUE(exists(tree_.path("home/p/item/mounted/f")));
}

TEST_F(DeletionService, WhatTheKernelHoldsStays) {
  EXPECT_THAT(refusal("/proc/self", DisposalMethod::delete_, true), HasSubstr("belongs to the kernel"));
}

TEST_F(DeletionService, TheHomeFolderBehindABindMountStays) {
  const auto bound = TemporaryMount::bind(tree_.path("home"), tree_.makeFolder("bound/home"));
  if (!bound) GTEST_SKIP() << "mounting is not permitted";
  EXPECT_THAT(refusal(bound.path(), DisposalMethod::delete_),
              HasSubstr("is protected: it is or holds the home folder"));
}

}  // namespace
}  // namespace tidra
