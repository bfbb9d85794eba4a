// What a face shows before and after a removal.
#include "app/view/review.h"

#include <gtest/gtest.h>

#include <deque>

#include "app/view/removal_summary.h"

namespace tidra {
namespace {

using enum ArtifactSafetyTier;

const TidraPathResolver reviewResolver{"/h", {}};

class Reviews : public ::testing::Test {
 protected:
  /// A candidate that frees this much.
  CleanupCandidate& add(const std::string& path, std::int64_t bytes, ArtifactSafetyTier tier = safe) {
    FoundArtifact& found = findings_.emplace_back();
    found.finding.path = path;
    found.finding.label = "label";
    found.finding.safetyTier = tier;
    found.finding.freeableBytes = static_cast<std::uint64_t>(bytes);
    if (path.starts_with("docker:")) found.finding.source = ArtifactSource::dockerCLI;
    if (tier == safe) found.finding.restoreHint = "npm install";
    return candidates.emplace_back(
        CleanupCandidate{.item = CleanupPlan::Item::make(found), .found = &found, .refusal = {}});
  }
  Review made() const { return Review::of(candidates, choice, inTrash, reviewResolver); }
  /// The questions, each with its number of items.
  std::string questions() const {
    std::string text;
    for (const ReviewQuestion& question : made().questions)
      text += fmt::format("{}: {}\n", question.items, question.text);
    return text;
  }

  std::deque<FoundArtifact> findings_;
  std::vector<CleanupCandidate> candidates;
  ReviewChoice choice;
  TrashContents inTrash{3, 5 << 20};
};

TEST_F(Reviews, PutItemsByTierAndNameWhatStaysAndWhatToolsRemove) {
  add("/h/p/a", 2 << 20);
  add("/h/p/b", 1 << 20, caution);
  add("/h/p/c", 4 << 20, warning);
  add("docker:volume:data", 8 << 20, caution);
  add("/h/p/kept", 1 << 20).refusal = {Refusal::Why::keepFile, "is kept by a file"};
  add("/h/p/mount", 1 << 20).refusal = {Refusal::Why::mount, "is mounted"};
  const Review review = made();
  ASSERT_EQ(review.parts.size(), 3U);
  const char* titles[] = {"Safe", "Review", "Irreversible"};
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(review.parts[i].title, titles[i]);
    EXPECT_EQ(review.parts[i].items.size(), 1U);
    EXPECT_EQ(review.parts[i].items[0].isHeldBack, i == 2);
  }
  EXPECT_EQ(review.parts[0].items[0].place, "~/p/a");
  EXPECT_EQ(review.parts[0].items[0].hint, "to get it back: npm install");
  ASSERT_EQ(review.byTools.size(), 1U);
  EXPECT_EQ(review.byTools[0].command, "docker volume rm data");
  EXPECT_EQ(review.byTools[0].hint, "cannot be undone");
  ASSERT_EQ(review.refused.size(), 2U);
  EXPECT_TRUE(review.refused[0].canBeForced);
  EXPECT_FALSE(review.refused[1].canBeForced);
  EXPECT_EQ(review.refused[1].reason, "is mounted");
  EXPECT_EQ(review.freedNow, 8 << 20);
  EXPECT_EQ(review.freedLater, 3 << 20);
  EXPECT_EQ(review.effect, "2 items go to the trash and free 3 MB once it is emptied.");
  EXPECT_EQ(questions(),
            "2: Move 2 items (3 MB) to the trash?\n"
            "1: Have docker remove 1 item (about 8 MB) at once and for good?\n");
}

TEST_F(Reviews, HoldBackWhatIsIrreversibleUntilItsWordIsTyped) {
  add("/h/a", 1 << 20, warning);
  add("docker:volume:data", 1 << 20, warning);
  EXPECT_EQ(made().typedAnswer, "remove 2");
  EXPECT_EQ(questions(), "");
  EXPECT_EQ(made().effect, "");
  EXPECT_TRUE(Review::goingOf(candidates, choice).empty());
  choice.includesIrreversible = true;
  EXPECT_EQ(made().typedAnswer, "");
  EXPECT_EQ(made().questions.size(), 2U);
  EXPECT_EQ(Review::goingOf(candidates, choice).size(), 2U);
}

TEST_F(Reviews, SayWhatEachMethodFreesAndWhen) {
  using enum DisposalMethod;
  struct Case {
    DisposalMethod method;
    bool emptiesTrash;
    const char* effect;
    std::int64_t now;
    std::int64_t later;
    const char* question;
  };
  add("/h/a", 1 << 20);
  for (const Case& c :
       {Case{trash, false, "1 item goes to the trash and frees 1 MB once it is emptied.", 0, 1 << 20,
             "Move 1 item (1 MB) to the trash?"},
        Case{trash, true, "1 item is deleted for good and frees 1 MB.", 1 << 20, 0,
             "Delete 1 item (1 MB) for good? It goes through the trash, which is emptied: what is in it now (3 "
             "entries, 5 MB) is deleted for good, too."},
        Case{quarantine, false, "1 item goes into quarantine and frees 1 MB once it is purged.", 0, 1 << 20,
             "Move 1 item (1 MB) into quarantine?"},
        Case{delete_, false, "1 item is deleted for good and frees 1 MB.", 1 << 20, 0,
             "Delete 1 item (1 MB) for good?"}}) {
    choice = {.method = c.method, .emptiesTrash = c.emptiesTrash};
    const Review review = made();
    EXPECT_EQ(review.effect, c.effect);
    EXPECT_EQ(review.freedNow, c.now);
    EXPECT_EQ(review.freedLater, c.later);
    EXPECT_EQ(review.questions.at(0).text, c.question);
    EXPECT_EQ(review.besides.has_value(), c.emptiesTrash);
  }
  candidates.clear();
  add("/h/.local/share/Trash/files", 4 << 20);
  choice = {};
  EXPECT_EQ(questions(), "1: Empty the trash (4 MB) for good?\n");
  EXPECT_EQ(made().freedNow, 4 << 20);
  add("/h/a", 1 << 20);
  EXPECT_EQ(questions(), "2: Move 1 item (1 MB) to the trash? What is in the trash (4 MB) is deleted for good.\n");
}

TEST_F(Reviews, SumLinksBetweenItemsOnce) {
  add("/h/a", 0);
  add("/h/b", 0);
  for (FoundArtifact& found : findings_) {
    found.shared = {{.device = 1, .inode = 2, .bytes = 1 << 20, .linksInside = 1, .links = 2}};
  }
  EXPECT_EQ(made().freedLater, 1 << 20);
}

TEST_F(Reviews, AnOutcomeSaysWhatWasFreedAndWhatIsStillStored) {
  add("/h/a", 1 << 20);
  add("/h/b", 2 << 20);
  CleanupResult result;
  result.candidates = candidates;
  EXPECT_EQ(RemovalSummary::of(result).sentences(), std::vector<std::string>{"Nothing was removed."});
  result.outcome.disposal.receipts = {
      {.path = "/h/a", .method = DisposalMethod::trash, .destination = "/t/a", .bytes = {}},
      {.path = "/h/b", .method = DisposalMethod::delete_, .destination = {}, .bytes = {}}};
  result.outcome.disposal.failures = {{"/h/c", "is mounted"}};
  result.outcome.freedBytes = 2 << 20;
  result.outcome.cancelled = true;
  result.volumes = {{"/", 10 << 20, 12 << 20}};
  const RemovalSummary summary = RemovalSummary::of(result);
  EXPECT_TRUE(summary.canBeUndone());
  const std::vector<std::string> sentences{"2 MB freed; the volume has 12 MB free, before 10 MB.",
                                           "1 item is in the trash; 1 MB come free once it is emptied.",
                                           "1 item stays for the reason given.",
                                           "Interrupted; what was not begun stays where it is."};
  EXPECT_EQ(summary.sentences(), sentences);
}

}  // namespace
}  // namespace tidra
