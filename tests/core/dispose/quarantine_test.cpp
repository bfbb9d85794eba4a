// Quarantine: entries are restored intact, also with concurrent processes.
#include "core/dispose/quarantine.h"

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "core/base/joining_thread.h"
#include "core/base/json_fields.h"
#include "core/dispose/disposal_error.h"
#include "tests/core/dispose/disposal_fixture.h"
#include "tests/support/matchers.h"
#include "tests/support/message_of.h"
#include "tests/support/noted_removal.h"
#include "tests/support/temporary_mount.h"

namespace tidra {
namespace {

namespace fs = std::filesystem;

class Quarantine : public DisposalTest {
 protected:
  std::string store(const std::string& name = "") const { return tree_.path("home/.tidra/quarantine" + name); }
  /// Quarantines an item whose content is its path.
  std::string put(const std::string& relative, TimePoint date = now) const {
    auto made = disposer();
    return quarantine(made, tree_.writeFile(relative, tree_.path(relative)), date).url;
  }
  /// Expects every entry to hold what its manifest says.
  static void expectWhole(const QuarantineDisposer::Listing& listing) {
    for (const auto& entry : listing.entries) EXPECT_EQ(*readFile(entry.url), entry.manifest.originalPath);
    EXPECT_THAT(listing.notes, IsEmpty());
  }
  std::string restored(const QuarantineDisposer::Entry& entry) const {
    return messageOf<DisposalError>([&] { disposer().restore(entry); });
  }
};

const std::string stamp = "/20260314T101500-";

TEST_F(Quarantine, ItemsLieFlatBesideTheirManifests) {
  EXPECT_EQ(put("home/p/build"), store(stamp + "build"));
  EXPECT_EQ(put("home/q/build"), store(stamp + "build.2"));
  EXPECT_EQ(put("home/q/build"), store(stamp + "build.3"));
  EXPECT_EQ(pathFacts(store())->permissions, 0700U);
  EXPECT_EQ(pathFacts(store(stamp + "build.tidra.json"))->permissions, 0600U);
  EXPECT_EQ(parseJson(*readFile(store(stamp + "build.2.tidra.json")), "it"),
            parseJson(R"({"originalPath": ")" + tree_.path("home/q/build") +
                          R"(", "quarantinedAt": "2026-03-14T10:15:00Z", "bytes": 5, "host": "a-host"})",
                      "it"));
  expectWhole(disposer().list());
  EXPECT_EQ(disposer().list().entries.size(), 3U);
}

TEST_F(Quarantine, AnyNameComesBack) {
  std::vector<std::string> names{"a b", "line\nbreak", "x.tidra.json", "-n", std::string(255, 'n'), "\"\\"};
  if (anyByteNames) names.insert(names.end(), {"\xff\xfe", std::string(253, 'm') + "\xc3\xbc"});
  for (const std::string& name : names) put("home/p/" + name);
  put("home/" + std::string(255, 'n'));  // the second of its name has a number
  const auto listing = disposer().list();
  ASSERT_EQ(listing.entries.size(), names.size() + 1);
  expectWhole(listing);
  fs::remove(tree_.path("home/p"));
  for (const auto& entry : listing.entries) disposer().restore(entry);
  for (const std::string& name : names)
    EXPECT_EQ(*readFile(tree_.path("home/p/" + name)), tree_.path("home/p/" + name));
  EXPECT_THAT(namesIn(store()), IsEmpty());
}

TEST_F(Quarantine, WhatComesBackIsAsOldAsBeforeAndSoIsTheFolderAroundIt) {
  const auto dated = fs::file_time_type::clock::now() - std::chrono::hours(4711);
  tree_.writeFile("home/p/item/f", "x");
  for (const char* folder : {"home/p/item", "home/p"}) fs::last_write_time(tree_.path(folder), dated);
  auto made = disposer();
  quarantine(made, tree_.path("home/p/item"), now);
  EXPECT_EQ(fs::last_write_time(tree_.path("home/p")), dated);
  made.restore(made.list().entries.at(0));
  EXPECT_EQ(fs::last_write_time(tree_.path("home/p")), dated);
  EXPECT_EQ(fs::last_write_time(tree_.path("home/p/item")), dated);
}

TEST_F(Quarantine, RestoringNeverOverwrites) {
  put("home/p/item");
  const auto entry = disposer().list().entries.at(0);
  for (const auto& block : std::vector<std::function<void()>>{[&] { tree_.writeFile("home/p/item", "new"); },
                                                              [&] { tree_.makeFolder("home/p/item"); },
                                                              [&] { tree_.symlink("home/p/item", "nowhere"); }}) {
    block();
    const auto before = tree_.snapshot();
    EXPECT_THAT(restored(entry), HasSubstr("something else is at " + tree_.path("home/p/item")));
    EXPECT_EQ(tree_.snapshot(), before);
    fs::remove(tree_.path("home/p/item"));
  }
  for (const std::string& place : {std::string("relative"), std::string("/"), std::string(),
                                   tree_.path("home/../home/q"), tree_.path("home/q") + std::string("\0x", 2)}) {
    auto bent = entry;
    bent.manifest.originalPath = place;
    EXPECT_THAT(restored(bent), HasSubstr("which is not a valid one")) << place;
  }
  disposer().restore(entry);
  EXPECT_EQ(*readFile(tree_.path("home/p/item")), tree_.path("home/p/item"));
}

TEST_F(Quarantine, OddManifestsAreToldAndLeftOrCleared) {
  using std::chrono::days;
  const std::string old = put("home/p/old", now - days(8));
  const std::string gone = put("home/p/gone", now - days(8));
  const std::string young = put("home/p/young", now - days(6));
  fs::remove(gone);
  tree_.writeFile("home/.tidra/quarantine/damaged.tidra.json", "{\"originalPath\": ");
  tree_.writeFile("home/.tidra/quarantine/empty.tidra.json");
  tree_.makeFolder("home/.tidra/quarantine/folder.tidra.json");
  ASSERT_EQ(::mkfifo(store("/pipe.tidra.json").c_str(), 0600), 0);
  tree_.symlink("home/.tidra/quarantine/link.tidra.json", "/dev/zero");
  noteRemoval(tree_.makeFolder("home/.tidra/quarantine/.tidra-removing-0123456789abcdef"));
  const auto listing = disposer().list();
  EXPECT_EQ(listing.entries.size(), 2U);
  EXPECT_THAT(listing.notes,
              ElementsAre(HasSubstr(gone + " has a manifest but is missing"),
                          HasSubstr("damaged.tidra.json cannot be read"), HasSubstr("empty.tidra.json"),
                          HasSubstr("folder.tidra.json"), HasSubstr("link.tidra.json"), HasSubstr("pipe.tidra.json")));
  const auto purged = disposer().purge(std::nullopt, now);
  EXPECT_THAT(purged.failures, IsEmpty());
  EXPECT_THAT(purged.notes, ElementsAreArray(listing.notes.begin() + 1, listing.notes.end()));
  EXPECT_THAT(namesIn(store()),
              ElementsAre("20260308T101500-young", "20260308T101500-young.tidra.json", "damaged.tidra.json",
                          "empty.tidra.json", "folder.tidra.json", "link.tidra.json", "pipe.tidra.json"));
  EXPECT_THAT(disposer().purge(0, now).paths, ElementsAre(young));
}

TEST_F(Quarantine, ManifestsOfNoEntryPurgeNothing) {
  const std::string young = put("home/p/young");
  const std::string manifest = R"({"originalPath": "/x", "quarantinedAt": "2020-01-01T00:00:00Z", "host": ""})";
  for (const char* name : {"", ".", ".."})
    tree_.writeFile("home/.tidra/quarantine/" + std::string(name) + ".tidra.json", manifest);
  const auto before = tree_.snapshot();
  EXPECT_EQ(disposer().list().entries.size(), 1U);
  const auto purged = disposer().purge(std::nullopt, now);
  EXPECT_THAT(purged.paths, IsEmpty());
  EXPECT_THAT(purged.failures, IsEmpty());
  EXPECT_EQ(tree_.snapshot(), before);
}

TEST_F(Quarantine, TheEnvironmentNamesTheFolder) {
  for (const auto& [given, directory] : TextPairs{{"", store()},
                                                  {"~", tree_.path("home")},
                                                  {"~/q/./x/", tree_.path("home/q/x")},
                                                  {"/a//b", "/a/b"},
                                                  {"~other", ""},
                                                  {"q", ""}}) {
    resolver_.environment["TIDRA_QUARANTINE_DIR"] = given;
    if (directory.empty()) {
      EXPECT_THAT(messageOf<InputError>([&] { config(); }), HasSubstr("is not an absolute path")) << given;
    } else {
      EXPECT_EQ(config(), (QuarantineConfig{directory, 7})) << given;
    }
  }
}

TEST_F(Quarantine, AFolderThatCannotBeTrustedIsNotUsed) {
  expectUnusedWhenSpoiled("home/.tidra/quarantine", DisposalMethod::quarantine, [&](const std::string& why) {
    EXPECT_THAT(messageOf<DisposalError>([&] { disposer().list(); }), HasSubstr(why));
  });
}

TEST_F(Quarantine, ManyAtOnceNeverTakeEachOthersNames) {
  constexpr int workers = 4;
  constexpr int each = 50;
  for (int i = 0; i < workers * each; ++i) {
    const std::string item = "home/p" + std::to_string(i) + "/build";
    tree_.writeFile(item, tree_.path(item));
  }
  const auto work = [&](int worker) {
    auto own = disposer();
    for (int i = 0; i < each; ++i) quarantine(own, tree_.path("home/p" + std::to_string(worker * each + i) + "/build"));
  };
  // Two threads here, two in another process.
  const auto both = [&](int first) {
    JoiningThread other([&work, first] { work(first); });
    work(first + 1);
  };
  const pid_t child = ::fork();
  if (child == 0) {
    try {
      both(2);
    } catch (...) {
      std::_Exit(1);
    }
    std::_Exit(0);
  }
  both(0);
  int status = -1;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  const auto listing = disposer().list();
  EXPECT_EQ(listing.entries.size(), static_cast<std::size_t>(workers * each));
  expectWhole(listing);
}

class QuarantineOfAVolume : public Quarantine {
 protected:
  void SetUp() override {
    if (!mount_) GTEST_SKIP() << "mounting is not permitted";
  }
  std::string volumeStore(const std::string& name = "") const { return tree_.path("volume/.tidra-quarantine" + name); }

  TemporaryMount mount_{tree_.makeFolder("volume"), "size=64k,mode=755"};
};

TEST_F(QuarantineOfAVolume, KeepsItsItemsListsRestoresAndPurgesThem) {
  EXPECT_EQ(put("volume/p/a"), volumeStore(stamp + "a"));
  put("volume/p/b", now - std::chrono::days(8));
  put("home/p/c");
  EXPECT_EQ(pathFacts(volumeStore())->permissions, 0700U);
  const auto listing = disposer().list();
  ASSERT_EQ(listing.entries.size(), 3U);
  expectWhole(listing);
  EXPECT_THAT(disposer().purge(std::nullopt, now).paths, ElementsAre(volumeStore("/20260306T101500-b")));
  for (const auto& entry : disposer().list().entries) disposer().restore(entry);
  EXPECT_THAT(namesIn(volumeStore()), IsEmpty());
  EXPECT_EQ(*readFile(tree_.path("volume/p/a")), tree_.path("volume/p/a"));
}

TEST_F(QuarantineOfAVolume, OneThatAnotherUserPlantedIsPassedOver) {
  put("volume/p/a");
  fs::permissions(volumeStore(), fs::perms{0777});
  EXPECT_THAT(disposer().list().notes, ElementsAre(HasSubstr("is open to other users")));
  ASSERT_EQ(::lchown(volumeStore().c_str(), 65534, 65534), 0);
  EXPECT_THAT(disposer().list().entries, IsEmpty());
  const std::string item = tree_.writeFile("volume/p/f");
  EXPECT_THAT(refusal(item, DisposalMethod::quarantine), HasSubstr("belongs to another user"));
  EXPECT_TRUE(exists(item));
}

TEST_F(QuarantineOfAVolume, AFullOneLeavesTheItemInItsPlace) {
  put("volume/p/first");
  const std::string item = tree_.writeFile("volume/p/f", "precious");
  std::ofstream(tree_.path("volume/filler")) << std::string(1 << 20, 'x');
  EXPECT_THAT(refusal(item, DisposalMethod::quarantine), HasSubstr("cannot be written: No space left on device"));
  EXPECT_EQ(*readFile(item), "precious");
  EXPECT_EQ(namesIn(volumeStore()).size(), 2U);
}

TEST_F(QuarantineOfAVolume, NothingIsCopiedToAnother) {
  resolver_.environment["TIDRA_QUARANTINE_DIR"] = tree_.path("volume");
  fs::permissions(tree_.path("volume"), fs::perms{0700});
  const std::string item = tree_.writeFile("home/p/f", "x");
  expectRefused(item, DisposalMethod::quarantine,
                AllOf(HasSubstr("the volume at " + tree_.path("volume")), HasSubstr("--method delete")));
  EXPECT_THAT(namesIn(tree_.path("volume")), IsEmpty());
  // The same when restoring.
  resolver_.environment.erase("TIDRA_QUARANTINE_DIR");
  put("home/q/f");
  auto entry = disposer().list().entries.at(0);
  entry.manifest.originalPath = tree_.path("volume/q/f");
  EXPECT_THAT(restored(entry), HasSubstr("does not copy"));
  EXPECT_TRUE(exists(entry.url) && exists(entry.url + ".tidra.json"));
}

}  // namespace
}  // namespace tidra
