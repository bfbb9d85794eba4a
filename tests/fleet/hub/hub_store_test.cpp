#include "fleet/hub/hub_store.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <memory>

#include "core/base/errors.h"
#include "core/base/joining_thread.h"
#include "core/base/text.h"
#include "core/platform/files.h"
#include "fleet/hub/protocol/hub_json.h"
#include "tests/fleet/hub/hub_fixture.h"
#include "tests/support/message_of.h"
#include "tests/support/temporary_mount.h"
#include "tests/support/temporary_tree.h"

namespace tidra {
namespace {

using std::chrono::seconds;

class HubStoreTest : public testing::Test {
 protected:
  void SetUp() override { open(); }

  void open() {
    store_.reset();  // unlocks the folder before it is reopened
    store_ = std::make_unique<HubStore>(tree_.path("data"), 7200, "Fleet", noon);
  }
  std::string hostFile(const std::string& name) const { return tree_.read("data/hosts/" + name); }
  void writeHostFile(const std::string& name, const std::string& text) const {
    tree_.writeFile("data/hosts/" + name, text);
  }
  std::string lastEvent() const {
    const auto events = store_->recentEvents(1);
    return events.empty() ? "(none)" : fmt::format("{}: {}", rawValue(events[0].kind), events[0].message);
  }
  void ingestAll(const std::vector<std::string>& hosts) {
    for (const auto& host : hosts) store_->ingest(plainReport(host), noon);
  }
  std::vector<std::string> names() const {
    std::vector<std::string> names;
    for (const auto& file : store_->inventory()) names.push_back(file->host);
    return names;
  }

  const TemporaryTree tree_;
  std::unique_ptr<HubStore> store_;
};

using Names = std::vector<std::string>;

TEST_F(HubStoreTest, KeepsTheLatestReportAndABoundedHistory) {
  auto report = busyReport("web/01");
  for (int i = 0; i <= 1000; ++i) {
    report.reclaimableBytes = i;
    store_->ingest(report, noon + seconds{i});
  }
  const auto record = *store_->record("web/01", noon + seconds{1000});
  EXPECT_EQ(record.reports, 1001);
  EXPECT_EQ(record.firstSeen, noon);
  EXPECT_EQ(record.lastSeen, noon + seconds{1000});
  EXPECT_EQ(record.latest, report);
  ASSERT_EQ(record.history.size(), 1000U);
  EXPECT_EQ(record.history.front().reclaimableBytes, 1);
  EXPECT_EQ(record.history.back(), (HubHistoryPoint{noon + seconds{1000}, 1000, 9, 10, 99, false, 23}));

  open();
  EXPECT_EQ(store_->record("web/01", noon + seconds{1000}), record);
  EXPECT_EQ(hostFile("web_01.json"), HubJSON::compact(*store_->inventory()[0]));
}

TEST_F(HubStoreTest, LogsWhatHappens) {
  auto report = plainReport("web");
  report.disposedItems = 4;
  report.disposedBytes = 5;
  store_->ingest(report, noon);
  EXPECT_EQ(lastEvent(), "reportReceived: 4 removed");
  EXPECT_EQ(store_->recentEvents(1)[0].bytes, 5);
  report.failures = 2;
  store_->ingest(report, noon);
  EXPECT_EQ(lastEvent(), "reportReceived: 4 removed · 2 failed");
  report.dryRun = true;
  report.findings = 7;
  store_->ingest(report, noon);
  EXPECT_EQ(lastEvent(), "reportReceived: dry run · 7 findings");
  EXPECT_TRUE(store_->setNote("web", "  in the cellar\n", noon));
  EXPECT_EQ(lastEvent(), "noteUpdated: in the cellar");
  open();
  EXPECT_EQ(store_->record("web", noon)->note, "in the cellar");
  EXPECT_TRUE(store_->setNote("web", " \n", noon));
  EXPECT_EQ(lastEvent(), "noteUpdated: note cleared");
  EXPECT_EQ(store_->record("web", noon)->note, std::nullopt);
  EXPECT_TRUE(store_->remove("web", noon));
  EXPECT_EQ(lastEvent(), "hostRemoved: removed from inventory");
  EXPECT_FALSE(store_->remove("web", noon));
  EXPECT_FALSE(store_->setNote("web", "x", noon));
  open();
  EXPECT_EQ(names(), Names{});
}

TEST_F(HubStoreTest, NeverFilesTwoHostsInOneFile) {
  ingestAll({"web/01"});
  const std::string before = hostFile("web_01.json");
  const auto refusal = [&] { return messageOf<HubStoreError>([&] { store_->ingest(plainReport("web_01"), noon); }); };
  const std::string message =
      "host 'web_01' cannot be filed: its file, web_01.json, is that of host 'web/01'; give one of them another name, "
      "or remove 'web/01' from the inventory";
  EXPECT_EQ(refusal(), message);
  EXPECT_EQ(lastEvent(), "reportRejected: " + message);
  EXPECT_EQ(hostFile("web_01.json"), before);
  EXPECT_EQ(names(), Names{"web/01"});
  open();
  EXPECT_EQ(refusal(), message);
  store_->remove("web/01", noon);
  ingestAll({"web_01", ".", ".."});
  open();
  EXPECT_EQ(names(), (Names{".", "..", "web_01"}));
  EXPECT_NE(hostFile("..json"), "");
}

TEST_F(HubStoreTest, KeepsAndNamesFilesThatItCannotRead) {
  ingestAll({"db", "web"});
  const std::string half = hostFile("web.json").substr(0, 200);
  writeHostFile("web.json", half);
  writeHostFile("copy.json", hostFile("db.json"));
  tree_.makeFolder("data/hosts/folder.json");
  writeHostFile(".db.json.0123abcd", "left by a crash");
  writeHostFile("notes.txt", "somebody's");
  open();
  EXPECT_EQ(names(), Names{"db"});
  EXPECT_EQ(store_->loadWarnings().size(), 3U);
  EXPECT_EQ(store_->loadWarnings()[0],
            "host file copy.json was left out and kept as it is: host 'db' is in db.json already");
  EXPECT_EQ(store_->recentEvents(3)[0].message, store_->loadWarnings()[0]);
  EXPECT_EQ(hostFile("web.json"), half);
  EXPECT_EQ(hostFile(".db.json.0123abcd"), "");
  EXPECT_EQ(hostFile("notes.txt"), "somebody's");

  ingestAll({"web"});
  EXPECT_EQ(hostFile("web.json.damaged"), half);
  ingestAll({"folder"});
  open();
  EXPECT_EQ(names(), (Names{"db", "folder", "web"})) << "what is no file is kept aside as well";
}

TEST_F(HubStoreTest, ReadsAHostFromAFileWithAnotherName) {
  ingestAll({"web"});
  std::filesystem::rename(tree_.path("data/hosts/web.json"), tree_.path("data/hosts/old.json"));
  open();
  ingestAll({"web"});
  EXPECT_EQ(hostFile("web.json"), "");
  EXPECT_THROW(ingestAll({"old"}), HubStoreError);
  open();
  EXPECT_EQ(store_->record("web", noon)->reports, 2);
}

TEST_F(HubStoreTest, NoticesAnAuditLogThatWasCutOrRewritten) {
  auto report = plainReport("web");
  const auto reasonsAfter = [&](std::int64_t seq, std::optional<std::string> hash) {
    report.auditSeq = seq;
    report.auditHeadHash = std::move(hash);
    store_->ingest(report, noon);
    return store_->record("web", noon)->statusReasons;
  };
  const std::vector<std::string> noticed = {"audit log went backwards"};
  EXPECT_EQ(reasonsAfter(7, "a"), Names{});
  EXPECT_EQ(reasonsAfter(7, "a"), Names{});
  EXPECT_EQ(reasonsAfter(7, std::nullopt), Names{});
  EXPECT_EQ(reasonsAfter(8, "b"), Names{});
  EXPECT_EQ(lastEvent(), "reportReceived: 0 removed");
  EXPECT_EQ(reasonsAfter(8, "c"), noticed);
  EXPECT_EQ(lastEvent(), "reportReceived: audit log went backwards: record 8 is another one than before");
  EXPECT_EQ(reasonsAfter(9, "d"), noticed);  // a later run does not cover it up
  open();
  EXPECT_EQ(store_->record("web", noon)->statusReasons, noticed);
  store_->setNote("web", "reinstalled", noon);
  EXPECT_EQ(store_->record("web", noon)->status, HubHostStatus::healthy);
  EXPECT_EQ(reasonsAfter(0, std::nullopt), noticed);
  EXPECT_EQ(lastEvent(), "reportReceived: audit log went backwards: it ended with record 9 and now ends with 0");
}

TEST_F(HubStoreTest, KeepsPoliciesAsTheyWerePut) {
  EXPECT_EQ(store_->policy("web"), std::nullopt);
  const std::string document = "{ \"name\" : \"\xff\" }\n";
  store_->putPolicy("web-1_a.B", document, noon);
  EXPECT_EQ(lastEvent(), "policyUpdated: policy 'web-1_a.B' updated");
  store_->putPolicy("..", "{}", noon);
  EXPECT_EQ(store_->policyNames(), (Names{"..", "web-1_a.B"}));
  EXPECT_EQ(store_->policy("web-1_a.B"), document);
  for (const std::string name : {"", "a b", "a/b", "b\u00fcro", "a\n"}) {
    const std::string message =
        fmt::format("'{}' is not a valid policy name (letters, digits, - _ . only)", escapedForTerminal(name));
    EXPECT_EQ(messageOf<HubStoreError>([&] { store_->putPolicy(name, "{}", noon); }), message);
    EXPECT_EQ(messageOf<HubStoreError>([&] { store_->removePolicy(name, noon); }), message);
    EXPECT_EQ(store_->policy(name), std::nullopt);
  }
  EXPECT_TRUE(store_->removePolicy("..", noon));
  EXPECT_EQ(lastEvent(), "policyRemoved: policy '..' removed");
  EXPECT_FALSE(store_->removePolicy("..", noon));
}

TEST_F(HubStoreTest, TakesItsFolderForItselfAndRefusesWhatIsNone) {
  const auto openAt = [&](const std::string& path) { HubStore(tree_.path(path), 1, "", noon); };
  EXPECT_EQ(messageOf<HubStoreError>([&] { openAt("data"); }),
            fmt::format("another hub uses the data folder {}; stop it or choose another folder", tree_.path("data")));
  tree_.writeFile("file");
  EXPECT_EQ(messageOf<InputError>([&] { openAt("file"); }),
            fmt::format("The data folder {} cannot be used: {}/hosts cannot be made: Not a directory. Choose another "
                        "folder or fix its permissions.",
                        tree_.path("file"), tree_.path("file")));
}

TEST_F(HubStoreTest, ChangesNothingOnAFullDisk) {
  const TemporaryMount disk(tree_.makeFolder("small"), "size=256k,mode=700");
  if (!disk) GTEST_SKIP() << "mounting is not permitted";
  HubStore store(disk.path() + "/data", 7200, "Fleet", noon);
  auto report = plainReport("web");
  store.ingest(report, noon);
  report.topItems.assign(10000, {.path = "/a", .label = "l", .category = "c", .ruleID = {}, .idleDays = {}});
  const auto before = withoutFolderTimes(snapshotOf(disk.path()));
  const auto summary = store.summary(noon);
  EXPECT_THROW(store.ingest(report, noon + seconds{1}), std::system_error);
  report.host = "new";
  EXPECT_THROW(store.ingest(report, noon), std::system_error);
  EXPECT_THROW(store.putPolicy("p", std::string(1 << 20, 'x'), noon), std::system_error);
  EXPECT_EQ(withoutFolderTimes(snapshotOf(disk.path())), before);
  EXPECT_EQ(store.summary(noon), summary);
  EXPECT_EQ(store.inventory().size(), 1U);
}

TEST_F(HubStoreTest, DoesWhatItCannotLogAndWarns) {
  store_.reset();
  tree_.makeFolder("data/events.jsonl");
  std::vector<std::string> warnings;
  store_ = std::make_unique<HubStore>(tree_.path("data"), 7200, "Fleet", noon,
                                      [&](const std::string& warning) { warnings.push_back(warning); });
  EXPECT_EQ(store_->ingest(busyReport("web"), noon).hostsKnown, 1);
  EXPECT_TRUE(store_->setNote("web", "x", noon));
  store_->putPolicy("p", "{}", noon);
  EXPECT_TRUE(store_->removePolicy("p", noon));
  store_->ingest(plainReport("we/b"), noon);
  EXPECT_TRUE(store_->remove("we/b", noon));
  EXPECT_EQ(warnings.size(), 6U);
  EXPECT_EQ(warnings[0], fmt::format("an event was not logged: {}: Is a directory (8 removed · 10 failed)",
                                     tree_.path("data/events.jsonl") + " cannot be written"));
  EXPECT_THROW(store_->append({}), std::system_error);
  open();
  EXPECT_EQ(names(), Names{"web"});
  EXPECT_EQ(store_->record("web", noon)->note, "x");
}

TEST_F(HubStoreTest, LosesNothingUnderConcurrentReportsAndReaders) {
  constexpr int writers = 4;
  constexpr int reports = 50;
  std::atomic<bool> done = false;
  std::atomic<int> refused = 0;
  JoiningThread reader([&] {
    while (!done) {
      store_->summary(noon);
      store_->metrics(noon, "1");
      store_->recentEvents(10);
      store_->records(noon);
    }
  });
  {
    std::vector<JoiningThread> threads;
    for (int i = 0; i < writers; ++i) {
      threads.emplace_back([&, i] {
        for (int k = 0; k < reports; ++k) {
          auto report = busyReport("own" + std::to_string(i));
          store_->ingest(report, noon);
          report.host = "shared";
          store_->ingest(report, noon);
          report.host = i % 2 == 0 ? "one/file" : "one:file";
          try {
            store_->ingest(report, noon);
          } catch (const HubStoreError&) {
            ++refused;
          }
        }
      });
    }
  }
  done = true;
  reader.join();
  open();
  EXPECT_EQ(store_->record("shared", noon)->reports, writers * reports);
  EXPECT_EQ(store_->record("own3", noon)->history.size(), static_cast<std::size_t>(reports));
  const auto first = store_->record("one/file", noon);
  const auto second = store_->record("one:file", noon);
  EXPECT_NE(first.has_value(), second.has_value()) << "two hosts share a file";
  EXPECT_EQ(refused, writers * reports / 2);
  EXPECT_EQ((first ? first : second)->reports, writers * reports / 2);
  EXPECT_EQ(store_->recentEvents(10000).size(), static_cast<std::size_t>(3 * writers * reports));
  EXPECT_EQ(store_->summary(noon).disposedBytesLast24h, (5 * writers * reports / 2) * 9);
}

}  // namespace
}  // namespace tidra
