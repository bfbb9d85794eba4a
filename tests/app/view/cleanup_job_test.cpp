// A removal beside a face: what goes, what it says meanwhile, and what it leaves behind.
#include "app/view/cleanup_job.h"

#include <filesystem>

#include "app/state/state_folders.h"
#include "tests/app/view/job_fixture.h"
#include "tests/support/matchers.h"

namespace tidra {
namespace {

class CleanupJobTest : public JobTest {
 protected:
  /// Projects with an artefact each, in a finished scan.
  std::shared_ptr<const ScanOutcome> scanOf(const std::vector<std::string>& projects) const {
    for (const std::string& project : projects) tree_.writeFile(place(project) + "/f", std::string(4096, 'x'));
    return std::make_shared<const ScanOutcome>(runScan(request()));
  }
  static std::string place(const std::string& project) { return "code/" + project + "/node_modules"; }
  ChosenFindings chosen(const std::shared_ptr<const ScanOutcome>& scan, const std::set<std::string>& projects) const {
    ChosenFindings chosen{scan, {}};
    for (const std::string& project : projects) chosen.paths.insert(tree_.path(place(project)));
    return chosen;
  }
  CleanupJob::Setting settingOf(DisposalMethod method) const {
    CleanupJob::Setting setting;
    setting.request = request();
    setting.method = method;
    setting.clock = &clock;
    return setting;
  }
  std::shared_ptr<const CleanupResult> resultOf(CleanupJob& job) {
    return JobTest::resultOf(job, bell_, [this](CleanupJob::News& news) {
      items_.insert(items_.end(), news.items.begin(), news.items.end());
      if (news.progress) progress_ = news.progress->removal;
    });
  }
  std::shared_ptr<const CleanupResult> resultOf(CleanupJob::Setting setting, CleanupOrder order) {
    CleanupJob job(std::move(setting), std::move(order), bell_.ringing());
    return resultOf(job);
  }
  std::vector<RemovalRun> history() const {
    return RemovalHistory(stateFolders(currentPlatform, request().resolver).applicationData, {}).load();
  }

  Bell bell_;
  std::vector<CleanedItem> items_;
  CleanupProgress progress_;
};

TEST_F(CleanupJobTest, RemovesJustTheChosenFindingsAndRecordsThem) {
  const auto scan = scanOf({"a", "b", "c"});
  const auto result = resultOf(settingOf(DisposalMethod::trash), chosen(scan, {"a", "c"}));
  EXPECT_EQ(result->failure, "");
  ASSERT_EQ(items_.size(), 2U);
  for (const CleanedItem& item : items_) {
    EXPECT_EQ(item.failure, "");
    EXPECT_EQ(item.freedBytes, 0);
    EXPECT_TRUE(item.destination && std::filesystem::exists(*item.destination));
  }
  EXPECT_FALSE(exists(place("a")));
  EXPECT_TRUE(exists(place("b")));
  EXPECT_EQ(progress_.itemsDone, 2U);
  EXPECT_EQ(result->outcome.disposal.receipts.size(), 2U);
  EXPECT_EQ(result->candidates.size(), 2U);
  EXPECT_FALSE(result->outcome.cancelled);
  const auto runs = history();
  ASSERT_EQ(runs.size(), 1U);
  EXPECT_EQ(runs[0].items.size(), 2U);
  EXPECT_EQ(runs[0].command, RemovalCommand::clean);
}

TEST_F(CleanupJobTest, TakesFurtherItemsWhileItRuns) {
  const auto scan = scanOf({"a", "b", "c"});
  Gate gate;
  CleanupJob job(settingOf(DisposalMethod::delete_), chosen(scan, {"a"}), [&] {
    gate.pass();
    bell_.ring();
  });
  gate.waitForArrival();
  EXPECT_TRUE(job.add(chosen(scan, {"b"})));
  CleanupPlan plan = makeCleanupPlan(selected(), DisposalMethod::delete_, request());
  std::erase_if(plan.items, [&](const auto& item) { return item.path != tree_.path(place("c")); });
  plan.items.push_back(plan.items.front());
  plan.items.back().path = tree_.writeFile("code/mine");
  EXPECT_TRUE(job.add(plan));
  gate.open();
  const auto result = resultOf(job);
  EXPECT_EQ(result->outcome.disposal.receipts.size(), 3U);
  EXPECT_EQ(progress_.items, 4U);
  EXPECT_EQ(progress_.itemsDone, 4U);
  for (const char* project : {"a", "b", "c"}) EXPECT_FALSE(exists(place(project))) << project;
  EXPECT_TRUE(exists("code/mine")) << "matches no rule";
  ASSERT_EQ(items_.size(), 4U);
  ASSERT_TRUE(items_[3].refusal);
  EXPECT_EQ(items_[3].refusal->why, Refusal::Why::unmatched);
  EXPECT_GT(items_[0].freedBytes, 0);
  ASSERT_EQ(history().size(), 1U) << "one removal for the user";
  EXPECT_EQ(history()[0].items.size(), 3U);
  EXPECT_FALSE(job.add(chosen(scan, {"b"})));
}

TEST_F(CleanupJobTest, LeavesWhatIsNotBegunWhenItIsCancelled) {
  const auto scan = scanOf({"a", "b", "c"});
  Gate gate;
  CleanupJob* job = nullptr;
  std::size_t gone = 0;
  std::shared_ptr<const CleanupResult> result;
  // Drains at once, so that each news wakes; the job's thread waits meanwhile.
  CleanupJob theJob(settingOf(DisposalMethod::delete_), chosen(scan, {"a", "b", "c"}), [&] {
    gate.pass();
    const auto news = job->drain();
    gone += news.items.size();
    if (gone == 1) job->cancel();
    if (news.result) result = news.result;
    if (news.result) bell_.ring();
  });
  job = &theJob;
  gate.open();
  bell_.wait();
  EXPECT_TRUE(result->outcome.cancelled);
  EXPECT_EQ(result->outcome.disposal.receipts.size(), 1U);
  EXPECT_EQ(exists(place("a")) + exists(place("b")) + exists(place("c")), 2);
  EXPECT_EQ(history().at(0).items.size(), 1U);
  EXPECT_FALSE(theJob.add(chosen(scan, {"b"})));
}

TEST_F(CleanupJobTest, FailuresAreKeptBesideWhatWent) {
  const auto scan = scanOf({"a", "b", "c"});
  tree_.writeFile("code/a/.tidra-keep");
  std::filesystem::rename(tree_.path(place("b")), tree_.path("code/elsewhere"));
  tree_.makeFolder(place("b"));
  const auto all = chosen(scan, {"a", "b", "c"});
  const auto result = resultOf(settingOf(DisposalMethod::quarantine), all);
  ASSERT_EQ(items_.size(), 3U);
  std::map<std::string, CleanedItem> byPath;
  for (const CleanedItem& item : items_) byPath[item.path] = item;
  const CleanedItem& kept = byPath[tree_.path(place("a"))];
  EXPECT_THAT(kept.failure, StartsWith("is kept by"));
  EXPECT_TRUE(kept.refusal && kept.refusal->canBeForced());
  const CleanedItem& replaced = byPath[tree_.path(place("b"))];
  EXPECT_THAT(replaced.failure, StartsWith("was replaced by something else since the scan"));
  EXPECT_FALSE(replaced.refusal);
  EXPECT_TRUE(byPath[tree_.path(place("c"))].destination);
  EXPECT_EQ(result->outcome.disposal.failures.size(), 2U);
  EXPECT_EQ(history().at(0).failures.size(), 2U);

  auto forced = settingOf(DisposalMethod::delete_);
  forced.force = true;
  EXPECT_EQ(resultOf(forced, chosen(scan, {"a"}))->outcome.disposal.receipts.size(), 1U);
}

TEST_F(CleanupJobTest, EmptiesTheTrashThatTheUserSaw) {
  if (!TrashEmptier::isReadable) GTEST_SKIP() << "the desktop's trash cannot be read";
  const auto scan = scanOf({"a", "b", "c", "d"});
  static_cast<void>(resultOf(settingOf(DisposalMethod::trash), chosen(scan, {"a"})));
  auto setting = settingOf(DisposalMethod::trash);
  setting.emptying.emplace(request().resolver, request().mounts, now, false);
  EXPECT_EQ(setting.emptying->seen().due.size(), 1U);
  static_cast<void>(resultOf(settingOf(DisposalMethod::trash), chosen(scan, {"b"})));
  const auto result = resultOf(setting, chosen(scan, {"c"}));
  ASSERT_TRUE(result->emptied);
  EXPECT_EQ(result->emptied->others, 1U);
  EXPECT_EQ(result->emptied->later, 1U) << "came in since";
  EXPECT_GT(result->outcome.freedBytes, 2 * 4096 - 1);
  EXPECT_EQ(result->outcome.disposal.receipts.at(0).method, DisposalMethod::delete_);
  EXPECT_EQ(history().size(), 4U) << "of what else was in the trash, a run of its own";
  // Nothing was moved there, so nothing is emptied.
  setting.method = DisposalMethod::delete_;
  EXPECT_FALSE(resultOf(setting, chosen(scan, {"d"}))->emptied);
}

TEST_F(CleanupJobTest, AHistoryThatCannotBeWrittenIsANote) {
  const auto scan = scanOf({"a"});
  tree_.writeFile("home/.local/share/tidra", "not a folder");
  const auto result = resultOf(settingOf(DisposalMethod::trash), chosen(scan, {"a"}));
  EXPECT_EQ(result->outcome.disposal.receipts.size(), 1U);
  EXPECT_FALSE(result->isInHistory);
  EXPECT_THAT(result->notes, ElementsAre(HasSubstr(tree_.path("home/.local/share/tidra"))));
}

TEST_F(CleanupJobTest, NothingGoesOfAnInterruptedScan) {
  ScanOutcome partial = *scanOf({"a"});
  partial.circumstances.partial = true;
  const auto scan = std::make_shared<const ScanOutcome>(std::move(partial));
  EXPECT_THAT(resultOf(settingOf(DisposalMethod::delete_), chosen(scan, {"a"}))->failure, HasSubstr("interrupted"));
  EXPECT_TRUE(exists(place("a")));
}

TEST_F(CleanupJobTest, NothingGoesWhileExclusionsCannotBeRead) {
  const auto scan = scanOf({"a"});
  tree_.writeFile("home/.config/tidra/preferences.json", "broken");
  const auto result = resultOf(settingOf(DisposalMethod::delete_), chosen(scan, {"a"}));
  EXPECT_THAT(result->failure, HasSubstr("Nothing is removed until the stored exclusions are repaired"));
  EXPECT_TRUE(exists(place("a")));
  EXPECT_THAT(history(), IsEmpty());
}

}  // namespace
}  // namespace tidra
