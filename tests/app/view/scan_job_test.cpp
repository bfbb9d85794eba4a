// A scan beside a face: its news, its end, and how it is cut short.
#include "app/view/scan_job.h"

#include <map>
#include <stdexcept>

#include "app/state/last_scan_store.h"
#include "app/state/state_folders.h"
#include "tests/app/view/job_fixture.h"
#include "tests/support/matchers.h"

namespace tidra {
namespace {

TEST(Mailbox, WakesOnceUntilItIsDrained) {
  int wakes = 0;
  Mailbox<std::string> mailbox([&] { ++wakes; });
  const auto post = [&](char c) { mailbox.post([c](std::string& text) { text += c; }); };
  EXPECT_EQ(mailbox.drain(), "");
  post('a');
  post('b');
  EXPECT_EQ(wakes, 1);
  EXPECT_EQ(mailbox.drain(), "ab");
  post('c');
  EXPECT_EQ(wakes, 2);
  EXPECT_EQ(mailbox.drain(), "c");
}

class ScanJobTest : public JobTest {
 protected:
  void makeFindings() const {
    tree_.writeFileOfSize("code/a/node_modules/f", 5000);
    tree_.writeFile("code/b/.tidra-keep");
    tree_.writeFileOfSize("code/b/build/f", 3000);
    tree_.writeFileOfSize("home/.cache/mine/f", 4000);
    tree_.writeFileOfSize("home/sdks/one/f", 2000);
  }
  std::optional<LastScan> stored() const {
    const auto preferences = openPreferences(request().resolver, {});
    return LastScanStore(*preferences, stateFolders(currentPlatform, request().resolver).applicationData).load();
  }

  Bell bell_;
};

TEST_F(ScanJobTest, BringsRowsAsTheyAreFoundAndEndsLikeAScan) {
  makeFindings();
  for (const bool isStored : {false, true}) {
    ScanJob job(everywhere(), isStored, bell_.ringing());
    std::set<std::string> streamed;
    const auto result = resultOf(job, bell_, [&](const ScanJob::News& news) {
      for (const ResultRow& row : news.rows) {
        EXPECT_TRUE(streamed.insert(row.path).second) << row.path;
        EXPECT_EQ(row.mark.kind, ItemMark::Kind::unknown);
        EXPECT_GT(row.sizeBytes, 0);
      }
      EXPECT_EQ(news.view.has_value(), news.result != nullptr);
      if (news.view) {
        EXPECT_EQ(&news.view->row(3), &news.result->rows[3]);
      }
    });
    ASSERT_NE(result->scan, nullptr) << result->failure;
    const auto outcome = runScan(everywhere());
    EXPECT_EQ(result->scan->findings, outcome.findings);
    ASSERT_EQ(result->rows.size(), 4U);
    std::map<std::string, ItemMark::Kind> marks;
    for (std::size_t i = 0; i < result->rows.size(); ++i) {
      const ResultRow& row = result->rows[i];
      EXPECT_EQ(row.path, outcome.findings[i].finding.path);
      EXPECT_TRUE(streamed.contains(row.path)) << row.path;
      marks[row.path] = row.mark.kind;
    }
    EXPECT_EQ(streamed.size(), 4U);
    using enum ItemMark::Kind;
    EXPECT_EQ(marks, (std::map<std::string, ItemMark::Kind>{{tree_.path("code/a/node_modules"), review},
                                                            {tree_.path("code/b/build"), kept},
                                                            {tree_.path("home/.cache/mine"), goes},
                                                            {tree_.path("home/sdks/one"), review}}));
    EXPECT_EQ(job.drain().result, nullptr) << "it comes once";
    const auto last = stored();
    ASSERT_EQ(last.has_value(), isStored);
    EXPECT_EQ(last ? last->aggregate->artifactCount : 0, isStored ? 4 : 0);
  }
}

TEST_F(ScanJobTest, KeepsWhatIsFoundWhenItIsCancelled) {
  makeFindings();
  auto asked = everywhere();
  const auto cancelledIn = [&](ScanPhase phase) {
    Gate gate;
    asked.onProgress = [&](const ScanProgress& progress) {
      if (progress.phase == phase) gate.pass();
    };
    ScanJob job(asked, true, bell_.ringing());
    gate.waitForArrival();
    job.cancel();
    gate.open();
    return resultOf(job, bell_, [](const auto&) {});
  };
  for (const ScanPhase phase : {ScanPhase::projects, ScanPhase::checks}) {
    const auto result = cancelledIn(phase);
    ASSERT_NE(result->scan, nullptr);
    EXPECT_TRUE(result->scan->circumstances.partial);
    EXPECT_GE(result->rows.size(), phase == ScanPhase::checks ? 4U : 0U) << "all were found";
    for (const ResultRow& row : result->rows) EXPECT_EQ(row.mark.kind, ItemMark::Kind::unknown) << row.path;
  }
}

/// A tool that never answers would hold it up for good.
TEST_F(ScanJobTest, EndsItsToolsWhenItIsDestroyed) {
  makeFindings();
  makeRepository("code/a");
  const std::string started = tree_.path("started");
  auto asked = everywhere();
  asked.git = tree_.writeProgram("git", "touch '" + started + "'; sleep 10000");
  Bell isAsked;
  asked.shouldCancel = [&] {
    if (pathFacts(started)) isAsked.ring();
    return false;
  };
  const ScanJob job(asked, false, [] {});
  isAsked.wait();
}

TEST_F(ScanJobTest, AFailureIsASentence) {
  makeFindings();
  auto asked = request();
  asked.onProgress = [](const ScanProgress&) { throw std::runtime_error("The sky has fallen."); };
  ScanJob job(asked, true, bell_.ringing());
  const auto result = resultOf(job, bell_, [](const auto&) {});
  EXPECT_EQ(result->failure, "The sky has fallen.");
  EXPECT_EQ(result->scan, nullptr);
  EXPECT_FALSE(stored());
}

}  // namespace
}  // namespace tidra
