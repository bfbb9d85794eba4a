#include "app/view/undo_list.h"

#include <filesystem>

#include "app/state/history_recorder.h"
#include "tests/core/session/cleanup_fixture.h"
#include "tests/support/matchers.h"

namespace tidra {
namespace {

class Undoing : public CleanupSession {
 protected:
  static std::string place(const std::string& project) { return "code/" + project + "/node_modules"; }

  /// Removes the artefacts of these projects, as a face does.
  void remove(const std::vector<std::string>& projects, DisposalMethod method) {
    for (const std::string& project : projects) tree_.writeFile(place(project) + "/f", "x");
    HistoryRecorder recorder(RemovalCommand::clean, method, request().resolver, now);
    static_cast<void>(runCleanup(selected(), recorder.watching(setting(method))));
    recorder.write();
  }
  UndoList list() const {
    return UndoList({request().resolver, "a-host", mountPoints(), [] { return now; }});
  }
};

TEST_F(Undoing, GoesBackRunByRun) {
  EXPECT_EQ(list().newest(), std::nullopt);
  remove({"a", "b"}, DisposalMethod::trash);
  remove({"c"}, DisposalMethod::quarantine);
  remove({"d"}, DisposalMethod::delete_);
  UndoList undo = list();
  ASSERT_EQ(undo.runs().size(), 3U);
  EXPECT_EQ(undo.row(2), (UndoList::Row{.items = 2, .moved = 2, .mayComeBack = true}));
  EXPECT_THAT(undo.items(0).at(0).reason, "was deleted for good");
  EXPECT_THAT(undo.undo(0).failures.at(0).message, "was deleted for good");
  EXPECT_EQ(undo.newest(), 1U) << "what cannot come back is done with";
  EXPECT_EQ(undo.items(1).at(0).where, "quarantine");
  EXPECT_THAT(undo.undo(1).restored, ElementsAre(tree_.path(place("c"))));
  EXPECT_TRUE(exists(place("c") + "/f"));
  EXPECT_EQ(undo.row(1).back, 1U);
  EXPECT_EQ(undo.newest(), 2U);

  tree_.writeFile(place("a") + "/new", "x");
  const auto tried = undo.undo(2);
  EXPECT_THAT(tried.restored, ElementsAre(tree_.path(place("b")))) << "the place of the other is taken";
  EXPECT_EQ(tried.failures.size(), 1U);
  EXPECT_EQ(undo.newest(), 2U) << "it may come back at another try";
  std::filesystem::remove_all(tree_.path(place("a")));
  EXPECT_EQ(undo.undo(2, [] { return true; }).restored.size(), 0U);
  EXPECT_THAT(undo.undo(2).restored, ElementsAre(tree_.path(place("a"))));
  EXPECT_EQ(undo.newest(), std::nullopt);
  EXPECT_EQ(list().newest(), std::nullopt) << "the history has it";
}

TEST_F(Undoing, KnowsWhatIsBackOrGoneAlready) {
  remove({"a", "b"}, DisposalMethod::trash);
  UndoList undo = list();
  std::filesystem::remove_all(FreedesktopTrash(request().resolver, {}).homeTrash());
  tree_.makeFolder(place("b"));
  std::vector<std::string> items;
  for (const auto& item : undo.items(0)) items.push_back(item.where + ": " + item.reason);
  EXPECT_THAT(items,
              UnorderedElementsAre("restored: ", "trash: is no longer in the trash: restored or purged meanwhile"));
  EXPECT_THAT(undo.undo(0).restored, ElementsAre(tree_.path(place("b"))));
  EXPECT_EQ(undo.newest(), std::nullopt);
}

}  // namespace
}  // namespace tidra
