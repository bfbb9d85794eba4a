#include "app/state/file_preferences_store.h"

#include <sys/stat.h>
#include <unistd.h>

#include "core/base/json_fields.h"
#include "core/platform/files.h"
#include "tests/support/matchers.h"
#include "tests/support/message_of.h"
#include "tests/support/temporary_mount.h"
#include "tests/support/temporary_tree.h"
#include "tests/support/without_privileges.h"

namespace tidra {
namespace {

class Preferences : public testing::Test {
 protected:
  FilePreferencesStore open(const std::string& relative = "config/tidra/preferences.json") {
    return {tree.path(relative), [this](const std::string& note) { notes.push_back(note); }};
  }
  std::string path() const { return tree.path("config/tidra/preferences.json"); }
  std::string text() const { return *readFile(path()); }
  void store(std::string_view bytes) const { tree.writeFile("config/tidra/preferences.json", bytes); }

  TemporaryTree tree;
  std::vector<std::string> notes;
};

TEST_F(Preferences, IsForItsOwnerOnlyAndReadingMakesNothing) {
  const mode_t former = ::umask(0);
  auto store = open();
  EXPECT_EQ(store.value("a"), std::nullopt);
  EXPECT_EQ(snapshotOf(tree.root()).size(), 1U);
  store.apply({{"yes", true}});
  ::umask(former);
  for (const SnapshotEntry& entry : snapshotOf(tree.path("config")))
    EXPECT_EQ(entry.mode, entry.type == 'd' ? 0700U : 0600U) << entry;
  tree.setMode("config/tidra/preferences.json", 0644);
  store.apply({{"x", true}});
  EXPECT_EQ(snapshotOf(tree.path("config/tidra")).at(1).mode, 0600U);
  EXPECT_THAT(notes, IsEmpty());
}

TEST_F(Preferences, WhatANewerBuildWroteSurvivesASave) {
  const std::string newer =
      R"({"list": [1, 2.5, null], "kind": {"colour": "red"}, "two": {"text": "a", "date": "b"}, "odd": {"text": 7},
      "date": {"date": "soon"}, "deep": {"a": {"b": ["ä"]}}, "mine": {"text": "old"}})";
  store(newer);
  auto preferences = open();
  for (const char* key : {"list", "kind", "two", "odd", "date", "deep"})
    EXPECT_EQ(preferences.value(key), std::nullopt) << key;
  preferences.apply({{"mine", "new"}});
  auto expected = parseJson(newer, "it");
  expected["mine"]["text"] = "new";
  EXPECT_EQ(parseJson(text(), "it"), expected);
  preferences.transact([] { return PreferencesStore::Changes{}; }, [] {});
  EXPECT_EQ(parseJson(text(), "it"), expected);
}

TEST_F(Preferences, AFileDamagedAtAnyByteIsReadOrKeptButNeverLost) {
  open().apply({{"tidra.a", "one"}, {"tidra.b", true}, {"tidra.c", TimePoint{}}, {"tidra.d", "\xff"}});
  const std::string whole = text();
  std::vector<std::string> damaged;
  for (std::size_t i = 0; i < whole.size(); ++i) {
    damaged.push_back(whole.substr(0, i));
    damaged.push_back(whole);
    damaged.back()[i] = static_cast<char>(damaged.back()[i] ^ (i % 2 == 0 ? 0x01 : 0xff));
  }
  damaged.push_back("[]");
  damaged.push_back(whole + "}");
  std::size_t kept = 0;
  for (const std::string& bytes : damaged) {
    store(bytes);
    notes.clear();
    auto reader = open();
    for (const char* key : {"tidra.a", "tidra.b", "tidra.c", "tidra.d"}) reader.value(key);
    EXPECT_EQ(text(), bytes) << "reading changes nothing";
    const auto seen = std::exchange(notes, {});
    if (!seen.empty()) {
      EXPECT_THAT(messageOf<PreferencesError>([&] { open().apply({{"added", true}}); }), HasSubstr("are damaged"));
      EXPECT_EQ(text(), bytes);
    }
    auto writer = open();
    writer.repair();
    writer.apply({{"added", true}});
    auto after = parseJson(text(), "it");
    EXPECT_EQ(after.erase("added"), 1U);
    EXPECT_EQ(seen.size(), notes.size()) << "a reader is notified once";
    if (notes.empty()) {
      EXPECT_EQ(after, parseJson(bytes, "it")) << bytes;
      continue;
    }
    // The first copy stays, so that the others need names of their own.
    const std::string beside = path() + (kept == 0 ? ".damaged" : ".damaged-1");
    EXPECT_THAT(notes, ElementsAre("The preferences " + path() + " were damaged; they are kept as " + beside +
                                   " and replaced by new ones. What was excluded there no longer is."));
    const auto aside = readFile(beside);
    EXPECT_EQ(aside ? *aside : "not there", bytes);
    EXPECT_TRUE(after.empty());
    if (kept++ > 0) ::unlink(beside.c_str());
  }
  EXPECT_GT(kept, whole.size());
  EXPECT_EQ(*readFile(path() + ".damaged"), "");
}

TEST_F(Preferences, WhatAKilledSaveLeftIsRemovedByTheNext) {
  tree.writeFile("config/tidra/.preferences.json.aB3dE9", "half");
  for (const char* other :
       {".preferences.json.aB3dE9x", ".preferences.json", "preferences.json.damaged", ".other.aB3dE9"})
    tree.writeFile(std::string("config/tidra/") + other);
  open().apply({{"a", true}});
  EXPECT_FALSE(readFile(tree.path("config/tidra/.preferences.json.aB3dE9")));
  EXPECT_EQ(snapshotOf(tree.path("config/tidra")).size(), 7U) << "the folder, the other four, the file and its lock";
}

TEST_F(Preferences, WhatCannotBeReadOrWrittenIsOneSentence) {
  const auto reading = [](PreferencesStore& store) { return messageOf<PreferencesError>([&] { store.value("a"); }); };
  const auto writing = [](PreferencesStore& store) {
    return messageOf<PreferencesError>([&] { store.apply({{"a", true}}); });
  };
  auto preferences = open();
  tree.makeFolder("config/tidra/preferences.json");
  EXPECT_EQ(reading(preferences), "The preferences " + path() + " cannot be read: not a regular file.");
  EXPECT_EQ(writing(preferences), reading(preferences));
  tree.writeFile("file");
  auto below = open("file/preferences.json");
  EXPECT_THAT(reading(below), EndsWith("cannot be read: Not a directory."));
  EXPECT_THAT(writing(below), AllOf(StartsWith("The preferences were not saved: "), HasSubstr(tree.path("file"))));
  ASSERT_EQ(::mkfifo(tree.path("pipe").c_str(), 0600), 0);
  auto pipe = open("pipe");
  EXPECT_THAT(reading(pipe), EndsWith("cannot be read: not a regular file."));
  tree.symlink("away", tree.path("not mounted"));
  auto away = open("away/preferences.json");
  EXPECT_THAT(reading(away), EndsWith("cannot be read: No such file or directory."));

  tree.writeFile("closed/preferences.json", "{}");
  tree.writeFile("unreadable.json", "{}", 0);
  tree.setMode("closed", 0555);
  const WithoutPrivileges unprivileged(tree);
  auto closed = open("closed/preferences.json");
  auto unreadable = open("unreadable.json");
  EXPECT_EQ(closed.value("a"), std::nullopt);
  EXPECT_THAT(notes, IsEmpty());
  EXPECT_THAT(writing(closed), AllOf(StartsWith("The preferences were not saved: "), EndsWith("Permission denied.")));
  EXPECT_THAT(reading(unreadable), EndsWith("cannot be read: Permission denied."));
}

TEST_F(Preferences, AFullDiskLeavesTheFormerState) {
  const TemporaryMount disk(tree.makeFolder("config/tidra"), "size=128k");
  if (!disk) GTEST_SKIP() << "mounting is not permitted";
  auto preferences = open();
  preferences.apply({{"a", "before"}});
  const auto entries = [&] { return snapshotOf(disk.path()).size(); };
  const auto before = entries();
  EXPECT_THAT(messageOf<PreferencesError>([&] {
                preferences.apply({{"a", std::string(200000, 'x')}});
              }),
              AllOf(StartsWith("The preferences were not saved: "), EndsWith("No space left on device.")));
  EXPECT_EQ(preferences.bytes("a"), "before");
  EXPECT_EQ(entries(), before) << "no half-written file stays";
  preferences.apply({{"a", "after"}});
  EXPECT_EQ(preferences.bytes("a"), "after");
}

}  // namespace
}  // namespace tidra
