// The Linux desktop trash: compatibility with other programs, and when it is not used.
#include "core/dispose/freedesktop_trash.h"

#include <fmt/format.h>
#include <stdlib.h>
#include <time.h>

#include "core/dispose/disposal_error.h"
#include "tests/core/dispose/disposal_fixture.h"
#include "tests/support/matchers.h"
#include "tests/support/message_of.h"
#include "tests/support/noted_removal.h"
#include "tests/support/temporary_mount.h"
#include "tests/support/without_privileges.h"

namespace tidra {
namespace {

class Trash : public DisposalTest {
 protected:
  std::string files(const std::string& name = "") const { return tree_.path("home/.local/share/Trash/files" + name); }
  std::string info(const std::string& name = "") const { return tree_.path("home/.local/share/Trash/info" + name); }

  /// While alive, local time is some hours behind UTC.
  struct InNewYork {
    InNewYork() {
      ::setenv("TZ", "EST5EDT,M3.2.0,M11.1.0", 1);
      ::tzset();
    }
    ~InNewYork() {
      ::unsetenv("TZ");
      ::tzset();
    }
  };
};

TEST_F(Trash, InfoFilesTellPlaceAndLocalTimeAsFileManagersWant) {
  const InNewYork zone;
  tree_.writeFile("home/p/target/f");
  EXPECT_EQ(disposed(tree_.path("home/p/target"), DisposalMethod::trash).destination, files("/target"));
  EXPECT_EQ(*readFile(info("/target.trashinfo")),
            "[Trash Info]\nPath=" + tree_.path("home/p/target") + "\nDeletionDate=2026-03-14T06:15:00\n");
  for (const char* name : {"/..", "/.", ""}) {
    const auto facts = pathFacts(standardizedPath(files(name)));
    EXPECT_EQ(facts->permissions & 0077U, 0U) << name;
  }
  tree_.writeFile("home/p/again/target", "x");
  EXPECT_EQ(disposed("~/p/again/target", DisposalMethod::trash).destination, files("/target.2"));
  EXPECT_EQ(FreedesktopTrash::pathOf(*readFile(info("/target.2.trashinfo"))), tree_.path("home/p/again/target"));
}

TEST_F(Trash, PathsAreEncodedSoThatAnyNameComesBack) {
  EXPECT_EQ(FreedesktopTrash::encodedPath("/home/me/a-b_c.d~e/@types+x,y=z"), "/home/me/a-b_c.d~e/@types+x,y=z");
  TextPairs paths = rowsOf(
      "/a b => /a%20b | /100% => /100%25 | /a%20b => /a%2520b | /two\nlines => /two%0Alines | "
      "/\xc3\xbc => /%C3%BC | /\xff => /%FF | /a\"b#c?d => /a%22b%23c%3Fd");
  paths.emplace_back("/ends ", "/ends%20");
  for (const auto& [path, encoded] : paths) {
    EXPECT_EQ(FreedesktopTrash::encodedPath(path), encoded);
    EXPECT_EQ(FreedesktopTrash::pathOf("[Trash Info]\nPath=" + encoded + "\n"), path);
  }
  EXPECT_EQ(FreedesktopTrash::pathOf("Path=/50%"), "/50%");
  EXPECT_EQ(FreedesktopTrash::pathOf("Path=/50%2"), "/50%2");
  EXPECT_EQ(FreedesktopTrash::pathOf("Path=/a%2fb"), "/a/b");
  EXPECT_EQ(FreedesktopTrash::pathOf("DeletionDate=2026-03-14T06:15:00"), std::nullopt);
}

TEST_F(Trash, NamesThatAreTakenGetANumberWhereverTheyAreTaken) {
  tree_.writeFile("home/.local/share/Trash/files/f", "no info");
  tree_.writeFile("home/.local/share/Trash/info/f.2.trashinfo", "no file");
  for (const char* folder :
       {"home/.local/share/Trash", "home/.local/share/Trash/files", "home/.local/share/Trash/info"})
    tree_.setMode(folder, 0700);
  for (const char* expected : {"/f.3", "/f.4"}) {
    EXPECT_EQ(disposed(tree_.writeFile("home/p/f", expected), DisposalMethod::trash).destination, files(expected));
    EXPECT_EQ(*readFile(files(expected)), expected);
  }
  EXPECT_EQ(*readFile(files("/f")), "no info");
  EXPECT_EQ(*readFile(info("/f.2.trashinfo")), "no file");
  const std::string longName(255, 'n');
  for (int i = 0; i < 2; ++i) {
    const auto receipt = disposed(tree_.writeFile("home/p/" + longName), DisposalMethod::trash);
    const std::string name(lastPathComponent(*receipt.destination));
    EXPECT_EQ(FreedesktopTrash::pathOf(*readFile(info("/" + name + ".trashinfo"))), tree_.path("home/p/" + longName));
  }
}

TEST_F(Trash, FoldersThatCannotBeTrustedAreNotUsed) {
  const std::string place = "home/.local/share/Trash";
  expectUnusedWhenSpoiled(place, DisposalMethod::trash);
  const std::string item = tree_.path("home/p/f");
  const auto with = [&](const std::function<void()>& spoil, const std::string& told) {
    std::filesystem::remove_all(tree_.path(place));
    tree_.setMode(place, (tree_.makeFolder(place), 0700));
    spoil();
    expectRefused(item, DisposalMethod::trash, HasSubstr(told));
    EXPECT_THAT(namesIn(tree_.path("else")), IsEmpty()) << told;
  };
  const auto open = [&](const std::string& name, unsigned mode) {
    return [this, name, mode] { std::filesystem::permissions(tree_.makeFolder(name), std::filesystem::perms{mode}); };
  };
  with([&] { tree_.symlink(place + "/files", tree_.path("else")); }, "is a link");
  with(open(place + "/files", 0770), "is open to other users");
  with(open(place + "/info", 0702), "is open to other users");
  if (::geteuid() != 0) return;
  with([&] { ASSERT_EQ(::lchown(tree_.makeFolder(place + "/files").c_str(), 65534, 65534), 0); },
       "belongs to another user");
}

TEST_F(Trash, PurgeGoesByTheDateInLocalTime) {
  const InNewYork zone;
  auto made = trash();
  using std::chrono::hours;
  for (const auto& [name, age] : {std::pair{"old", 24 * 30 + 1}, std::pair{"young", 24 * 30 - 1}})
    made.trash(holdEntry(tree_.writeFile("home/p/" + std::string(name))), "/p", now - hours(age));
  tree_.writeFile("home/.local/share/Trash/info/undated.trashinfo", "[Trash Info]\nPath=/x\n");
  tree_.writeFile("home/.local/share/Trash/info/odd.trashinfo",
                  "[Trash Info]\nPath=/x\nDeletionDate=2020-02-31T00:00:00\n");
  tree_.writeFile("home/.local/share/Trash/info/gone.trashinfo",
                  "[Trash Info]\nPath=/x\nDeletionDate=2020-02-01T00:00:00\n");
  noteRemoval(tree_.makeFolder("home/.local/share/Trash/files/.tidra-removing-0123456789abcdef"));
  const auto purged = made.purge(30, now);
  EXPECT_THAT(purged.paths, ElementsAre(files("/.tidra-removing-0123456789abcdef"), files("/old")));
  EXPECT_THAT(purged.failures, IsEmpty());
  EXPECT_THAT(namesIn(files()), ElementsAre("young"));
  EXPECT_THAT(namesIn(info()), ElementsAre("young.trashinfo"));
  EXPECT_THAT(made.purge(0, now).paths, ElementsAre(files("/young")));
}

TEST_F(Trash, AnInfoFileWithoutAnItemIsNoEntryAndGoesOnceNoMoveCanNeedIt) {
  auto made = trash();
  made.trash(holdEntry(tree_.writeFile("home/p/there", "1")), "/p", now - std::chrono::hours(1));
  for (const auto& [minutes, isCleared] : {std::pair{-9, false}, {0, false}, {9, false}, {11, true}}) {
    const std::string orphan = tree_.writeFile("home/.local/share/Trash/info/orphan.trashinfo");
    const auto age = std::chrono::seconds(std::chrono::minutes(minutes));
    std::filesystem::last_write_time(
        orphan,
        std::chrono::file_clock::from_sys(std::chrono::system_clock::time_point((now - age).time_since_epoch())));
    std::vector<std::string> notes;
    for (const auto& entry : made.list(now, notes)) EXPECT_EQ(entry.identity.has_value(), !entry.isDue({})) << minutes;
    EXPECT_THAT(made.purge(1, now).paths, IsEmpty());
    EXPECT_EQ(pathExists(orphan), !isCleared) << minutes;
    EXPECT_TRUE(pathExists(files("/there")));
  }
}

TEST_F(Trash, WhatNothingDatesStaysUnlessItIsChosen) {
  auto made = trash();
  made.trash(holdEntry(tree_.writeFile("home/p/old", "12345")), "/p/old", now - std::chrono::hours(100));
  tree_.writeFile("home/.local/share/Trash/files/orphan/deep", "123");
  for (const auto& [name, date] : {std::pair{"undated", "soon"}, std::pair{"tomorrow", "2026-03-15T23:59:59"}}) {
    tree_.writeFile(std::string("home/.local/share/Trash/files/") + name, "1234567");
    tree_.writeFile(std::string("home/.local/share/Trash/info/") + name + ".trashinfo",
                    std::string("[Trash Info]\nPath=/x\nDeletionDate=") + date + "\n");
  }
  EXPECT_THAT(made.purge(0, now).paths, ElementsAre(files("/old")));
  std::vector<std::string> notes;
  auto left = made.list(now, notes);
  FreedesktopTrash::measure(left);
  std::vector<std::string> told;
  for (const auto& entry : left) {
    EXPECT_TRUE(entry.isUndated());
    told.push_back(fmt::format("{} {} {}", lastPathComponent(entry.path), entry.bytes, entry.fault()));
  }
  EXPECT_THAT(told, ElementsAre("orphan 3 has no info file", "tomorrow 7 has a date in the future",
                                "undated 7 has no date that can be read"));
  std::filesystem::rename(files("/tomorrow"), tree_.path("home/elsewhere"));
  tree_.writeFile("home/.local/share/Trash/files/tomorrow", "another");
  const auto purged = FreedesktopTrash::remove(left);
  EXPECT_THAT(purged.paths, ElementsAre(files("/orphan"), files("/undated")));
  ASSERT_EQ(purged.failures.size(), 1U);
  EXPECT_EQ(purged.failures[0].message, "was replaced by something else meanwhile");
  EXPECT_THAT(namesIn(files()), ElementsAre("tomorrow"));
  EXPECT_THAT(namesIn(info()), ElementsAre("tomorrow.trashinfo"));
}

TEST_F(Trash, IsEmptiedAsTheItemThatItIs) {
  auto made = trash();
  made.trash(holdEntry(tree_.writeFile("home/p/old", "12345")), "/p/old", now - std::chrono::hours(100));
  made.trash(holdEntry(tree_.writeFile("home/p/since", "1")), "/p/since", now);
  tree_.writeFile("home/.local/share/Trash/files/orphan/deep", "123");
  tree_.writeFile("home/.local/share/Trash/files/q/1-x/f", "1");
  tree_.writeFile("home/.local/share/Trash/files/q/1-x.tidra.json", "");
  const auto emptying = [this](bool includesUndated) {
    return TidraDeletionService({.resolver = resolver_,
                                 .host = "a-host",
                                 .mounts = mountPoints(),
                                 .protectedFolders = {},
                                 .clock = [] { return now; },
                                 .shouldCancel = {},
                                 .seenAt = now,
                                 .includesUndated = includesUndated});
  };
  const auto emptied = [&](bool includesUndated, bool dryRun) {
    return emptying(includesUndated).dispose({files(), {}}, DisposalMethod::quarantine, dryRun, config());
  };
  const auto before = tree_.snapshot();
  EXPECT_TRUE(std::holds_alternative<TidraDeletionFailure>(
      emptying(true).dispose({files("/old"), {}}, DisposalMethod::trash, false, config())));
  for (const auto& [includesUndated, bytes, remainder] :
       {std::tuple{true, 9, std::string("1 entry stays in the trash: 1 trashed since the scan.")},
        {false, 5,
         "3 entries stay in the trash: " + files("/orphan") + " has no info file; " + files("/q") +
             " has no info file; 1 trashed since the scan."}}) {
    const auto disposed = std::get<TidraDeletionService::Disposed>(emptied(includesUndated, true));
    EXPECT_EQ(disposed.receipt.bytes, bytes);
    EXPECT_EQ(disposed.remainder, remainder);
  }
  EXPECT_EQ(tree_.snapshot(), before);
  EXPECT_EQ(std::get<TidraDeletionService::Disposed>(emptied(false, false)).receipt,
            (DisposalReceipt{files(), DisposalMethod::delete_, std::nullopt, 5, now}));
  EXPECT_THAT(namesIn(files()), ElementsAre("orphan", "q", "since"));
  EXPECT_THAT(std::get<TidraDeletionFailure>(emptied(false, false)).message,
              AllOf(HasSubstr("orphan has no info file"), HasSubstr("--include-unlisted removes such entries")));
  EXPECT_EQ(std::get<TidraDeletionService::Disposed>(emptied(true, false)).receipt.bytes, 4);
  EXPECT_THAT(namesIn(files()), ElementsAre("since"));
  EXPECT_THAT(namesIn(info()), ElementsAre("since.trashinfo"));
  EXPECT_THAT(std::get<TidraDeletionFailure>(emptied(true, false)).message, HasSubstr("trashed since the scan"));
}

TEST_F(Trash, AnInterruptedPurgeCountsWhatItLeft) {
  auto made = trash();
  for (const char* name : {"a", "b", "c", "d"})
    made.trash(holdEntry(tree_.writeFile(std::string("home/p/") + name)), "/p", now);
  std::vector<std::string> notes;
  const auto entries = made.list(now, notes);
  const auto purged = FreedesktopTrash::remove(entries, [&] { return namesIn(files()).size() <= 2; });
  EXPECT_THAT(purged.paths, ElementsAre(files("/a"), files("/b")));
  EXPECT_EQ(purged.notBegun, 2U);
  EXPECT_THAT(namesIn(files()), ElementsAre("c", "d"));
}

TEST_F(Trash, InfoFilesOfNoEntryPurgeNothing) {
  auto made = trash();
  made.trash(holdEntry(tree_.writeFile("home/p/young")), "/p", now);
  for (const char* name : {"", ".", ".."}) {
    tree_.writeFile("home/.local/share/Trash/info/" + std::string(name) + ".trashinfo",
                    "[Trash Info]\nPath=/x\nDeletionDate=2020-02-01T00:00:00\n");
  }
  const auto before = tree_.snapshot();
  const auto purged = made.purge(30, now);
  EXPECT_THAT(purged.paths, IsEmpty());
  EXPECT_THAT(purged.failures, IsEmpty());
  EXPECT_EQ(tree_.snapshot(), before);
}

TEST_F(Trash, AnotherVolumeHasItsOwn) {
  const TemporaryMount mount(tree_.makeFolder("volume"));
  if (!mount) GTEST_SKIP() << "mounting is not permitted";
  const std::string folder = tree_.path("volume/.Trash-" + std::to_string(::geteuid()));
  EXPECT_EQ(disposed(tree_.writeFile("volume/p/a b", "x"), DisposalMethod::trash).destination, folder + "/files/a b");
  EXPECT_EQ(FreedesktopTrash::pathOf(*readFile(folder + "/info/a b.trashinfo")), tree_.path("volume/p/a b"));
  EXPECT_FALSE(exists(files()));
  std::vector<std::string> notes;
  FreedesktopTrash::restore(trash().list(now, notes).at(0));
  EXPECT_EQ(*readFile(tree_.path("volume/p/a b")), "x");
  EXPECT_THAT(namesIn(folder + "/info"), IsEmpty());
  disposed(tree_.path("volume/p/a b"), DisposalMethod::trash);
  EXPECT_THAT(trash().purge(0, now + std::chrono::seconds(1)).paths, ElementsAre(folder + "/files/a b"));
  const std::string item = tree_.writeFile("volume/p/f");
  for (const auto& spoil : std::vector<std::function<void()>>{
           [&] { std::filesystem::permissions(folder, std::filesystem::perms{0777}); },
           [&] { tree_.symlink(folder.substr(tree_.root().size() + 1), tree_.makeFolder("volume/else")); },
           [&] {
             std::filesystem::create_directory(folder);
             ASSERT_EQ(::lchown(folder.c_str(), 65534, 65534), 0);
           }}) {
    spoil();
    expectRefused(item, DisposalMethod::trash, HasSubstr("the trash folder"));
    std::filesystem::remove_all(folder);
  }
}

TEST_F(Trash, AHomeTrashOnAnotherVolumeIsNotCopiedTo) {
  const TemporaryMount mount(tree_.makeFolder("data"));
  if (!mount) GTEST_SKIP() << "mounting is not permitted";
  resolver_.environment["XDG_DATA_HOME"] = mount.path();
  const std::string item = tree_.writeFile("home/p/f", "x");
  expectRefused(
      item, DisposalMethod::trash,
      AllOf(HasSubstr("the volume at " + mount.path()), HasSubstr("does not copy"), HasSubstr("--method delete")));
  EXPECT_THAT(namesIn(tree_.path("data/Trash/info")), IsEmpty());
}

TEST_F(Trash, AFullVolumeLeavesTheItemInItsPlace) {
  const TemporaryMount mount(tree_.makeFolder("volume"), "size=64k,mode=755");
  if (!mount) GTEST_SKIP() << "mounting is not permitted";
  const std::string folder = tree_.path("volume/.Trash-" + std::to_string(::geteuid()));
  disposed(tree_.writeFile("volume/p/first"), DisposalMethod::trash);
  const std::string item = tree_.writeFile("volume/p/f", "precious");
  std::ofstream(tree_.path("volume/filler")) << std::string(1 << 20, 'x');
  EXPECT_THAT(refusal(item, DisposalMethod::trash), HasSubstr("cannot be written: No space left on device"));
  EXPECT_EQ(*readFile(item), "precious");
  EXPECT_THAT(namesIn(folder + "/info"), ElementsAre("first.trashinfo"));
  EXPECT_THAT(namesIn(folder + "/files"), ElementsAre("first"));
}

class TrashRestore : public Trash {
 protected:
  /// Trashes an item whose content is its path; returns its entry.
  FreedesktopTrash::Entry put(const std::string& relative) const {
    tree_.writeFile(relative, tree_.path(relative));
    const auto destination = disposed(tree_.path(relative), DisposalMethod::trash).destination;
    for (const auto& entry : listed()) {
      if (entry.path == destination) return entry;
    }
    ADD_FAILURE() << relative;
    return {};
  }
  std::vector<FreedesktopTrash::Entry> listed() const {
    std::vector<std::string> notes;
    return trash().list(now, notes);
  }
  static std::string refused(const FreedesktopTrash::Entry& entry) {
    std::string dry;
    for (const auto act : {&FreedesktopTrash::checkRestore, &FreedesktopTrash::restore}) {
      try {
        act(entry);
        return "(restored)";
      } catch (const std::exception& error) {
        EXPECT_TRUE(dry.empty() || dry == error.what()) << dry << " | " << error.what();
        dry = error.what();
      }
    }
    return dry;
  }
};

TEST_F(TrashRestore, AnyNameComesBackWithItsMissingFolders) {
  std::vector<std::string> names{"a b", "line\nbreak", "x.trashinfo", "%41", std::string(255, 'n')};
  if (anyByteNames) names.emplace_back("\xff\xfe");
  for (const std::string& name : names) put("home/p/" + name);
  std::filesystem::remove(tree_.path("home/p"));
  for (const auto& entry : listed()) FreedesktopTrash::restore(entry);
  for (const std::string& name : names)
    EXPECT_EQ(*readFile(tree_.path("home/p/" + name)), tree_.path("home/p/" + name));
  EXPECT_THAT(namesIn(files()), IsEmpty());
  EXPECT_THAT(namesIn(info()), IsEmpty());
}

TEST_F(TrashRestore, RefusesPlacesThatAreTakenBentOrNotItsOwn) {
  const auto entry = put("home/p/item");
  for (const auto& block : std::vector<std::function<void()>>{[&] { tree_.writeFile("home/p/item", "new"); },
                                                              [&] { tree_.makeFolder("home/p/item"); },
                                                              [&] { tree_.symlink("home/p/item", "nowhere"); }}) {
    block();
    const auto before = tree_.snapshot();
    EXPECT_THAT(refused(entry), HasSubstr("something else is at " + tree_.path("home/p/item")));
    EXPECT_EQ(tree_.snapshot(), before);
    std::filesystem::remove(tree_.path("home/p/item"));
  }
  for (const std::string& place : {std::string("/"), tree_.path("home/../home/q"), std::string("relative")}) {
    auto bent = entry;
    bent.originalPath = place;
    EXPECT_THAT(refused(bent), HasSubstr("which is not a valid one")) << place;
  }
  auto nowhere = entry;
  nowhere.originalPath.reset();
  EXPECT_THAT(refused(nowhere), HasSubstr("does not say where it was"));
  auto replaced = entry;
  std::filesystem::remove(entry.path);
  tree_.writeFile("home/other", "x");
  std::filesystem::rename(tree_.path("home/other"), entry.path);
  EXPECT_THAT(messageOf<DisposalError>([&] { FreedesktopTrash::restore(replaced); }), HasSubstr("replaced"));
  EXPECT_TRUE(exists(entry.path) && exists(info("/item.trashinfo")));
}

TEST_F(TrashRestore, NothingLandsBehindALinkMadeMeanwhile) {
  tree_.makeFolder("else/p");
  tree_.symlink("home/known", tree_.path("else"));
  const auto viaKnown = put("home/known/p/kept");
  const auto entry = put("home/p/item");
  auto store = disposer();
  quarantine(store, tree_.writeFile("home/p/other", "x"));
  const auto other = store.list().entries.at(0);
  std::filesystem::rename(tree_.path("home/p"), tree_.path("home/moved"));
  const std::string link = tree_.path("home/p");
  // File systems date in steps of some milliseconds.
  for (tree_.symlink("home/p", tree_.path("else")); *changedNanos(link) <= *changedNanos(other.url);) {
    std::filesystem::remove(link);
    tree_.symlink("home/p", tree_.path("else"));
  }
  const auto refusal = AllOf(HasSubstr(link + " has become a link to " + tree_.path("else")), HasSubstr("by hand"));
  EXPECT_THAT(refused(entry), refusal);
  EXPECT_THAT(messageOf<DisposalError>([&] { store.restore(other); }), refusal);
  EXPECT_THAT(namesIn(tree_.path("else")), ElementsAre("p"));
  FreedesktopTrash::restore(viaKnown);
  EXPECT_TRUE(exists(tree_.path("else/p/kept")));
}

TEST_F(TrashRestore, NothingLandsInAFolderThatAnotherUserMadeMeanwhile) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs a second user";
  const auto entry = put("home/shared/p/item");
  std::filesystem::remove(tree_.path("home/shared/p"));
  handOver(tree_);
  const std::string made = tree_.makeFolder("home/shared/p");
  tree_.setMode("home/shared/p", 0777);
  ASSERT_EQ(::lchown(made.c_str(), 65533, 65533), 0);
  {
    const WithoutPrivileges owner(tree_);
    EXPECT_THAT(refused(entry), HasSubstr("belongs to another user"));
  }
  EXPECT_THAT(namesIn(tree_.path("home/shared/p")), IsEmpty());
  EXPECT_TRUE(exists(entry.path));
}

TEST_F(TrashRestore, AnInfoFileThatStaysIsNoFailureOfItsItem) {
  const auto entry = put("home/p/a");
  const auto other = put("home/p/b");
  handOver(tree_);
  tree_.setMode("home/.local/share/Trash/info", 0500);
  {
    const WithoutPrivileges owner(tree_);
    EXPECT_THAT(messageOf<DisposalError>([&] { FreedesktopTrash::restore(entry); }),
                StartsWith("was restored, but its info file stays in the trash: Permission"));
    const auto purged = FreedesktopTrash::remove({other});
    ASSERT_EQ(purged.failures.size(), 1U);
    EXPECT_THAT(purged.failures[0].message, StartsWith("was deleted, but its info file stays in the trash: Perm"));
  }
  EXPECT_THAT(namesIn(files()), IsEmpty());
}

TEST_F(TrashRestore, ReadsPathsOfOtherProgramsInAVolumesTrash) {
  const std::string info = "[Trash Info]\nPath=p/a%20b\n";
  EXPECT_EQ(FreedesktopTrash::placeIn(info, "/mnt/.Trash-7"), "/mnt/p/a b");
  EXPECT_EQ(FreedesktopTrash::placeIn(info, "/home/me/.local/share/Trash"), std::nullopt);
  EXPECT_EQ(FreedesktopTrash::placeIn("Path=/p\n", "/mnt/.Trash-7"), "/p");
  EXPECT_EQ(FreedesktopTrash::placeIn("Path=../p\n", "/mnt/.Trash-7"), "/mnt/../p");
}

}  // namespace
}  // namespace tidra
