#include "app/view/results_view.h"

#include <gtest/gtest.h>

#include "app/view/results_cursor.h"
#include "tests/app/view/rows.h"

namespace tidra {
namespace {

using Kind = ItemMark::Kind;

ResultRow withDate(ResultRow row, std::int64_t seconds, ProjectActivity activity) {
  row.lastActivity = timePointAt(seconds);
  row.activity = activity;
  return row;
}

/// Three projects, one of them kept in part, and an item outside projects.
std::vector<ResultRow> someRows() {
  using enum ProjectActivity;
  std::vector<ResultRow> rows{withDate(rowAt("/code/shop/dist", 20), 300, recent),
                              withDate(rowAt("/code/shop/Build", 10, Kind::review), 300, recent),
                              withDate(rowAt("/code/engine/target", 25), 100, dormant),
                              withDate(rowAt("/code/engine/venv", 40, Kind::kept), 100, dormant),
                              rowAt("/code/docs/site", 5)};
  rows[1].tier = ArtifactSafetyTier::caution;
  rows[2].ecosystem = SharedText("rust");
  rows.push_back(rowAt("/home/.cache/pip", 15));
  rows[5].group = SharedText("__tidra:system:caches__");
  rows[5].groupName = SharedText("Global package caches");
  return rows;
}

class Results : public ::testing::Test {
 protected:
  Results() { view.replaceAll(someRows()); }

  std::shared_ptr<const ResultsSnapshot> made() const { return view.snapshot(query, selection); }
  std::string text() const { return textOf(*made()); }

  ResultsView view;
  ResultsQuery query;
  Selection selection;
};

TEST_F(Results, SortsGroupsAndTheirItems) {
  using enum ResultsSort;
  using enum ResultsGrouping;
  struct Case {
    ResultsSort sort;
    bool reversed;
    ResultsGrouping grouping;
    const char* text;
  };
  for (const Case& c :
       {Case{freed, false, project,
             "shop 30: dist 20 Build 10 | engine 25: venv 40 target 25 | Global package caches 15: pip 15 | "
             "docs 5: site 5"},
        Case{freed, true, project,
             "docs 5: site 5 | Global package caches 15: pip 15 | engine 25: target 25 venv 40 | "
             "shop 30: Build 10 dist 20"},
        Case{age, false, project,
             "engine 25: target 25 venv 40 | shop 30: dist 20 Build 10 | docs 5: site 5 | "
             "Global package caches 15: pip 15"},
        Case{age, true, flat, " dist 20 Build 10 target 25 venv 40 site 5 pip 15"},
        Case{name, false, project,
             "docs 5: site 5 | engine 25: target 25 venv 40 | Global package caches 15: pip 15 | "
             "shop 30: Build 10 dist 20"},
        Case{name, true, flat, " pip 15 dist 20 Build 10 venv 40 target 25 site 5"},
        Case{freed, false, ecosystem, "Node.js / npm 50: venv 40 dist 20 pip 15 Build 10 site 5 | Rust 25: target 25"},
        Case{name, false, activity,
             "Recent · 1–6 months 30: Build 10 dist 20 | Dormant · 2+ years 25: target 25 venv 40 | "
             "Unknown 20: site 5 pip 15"}}) {
    query.sort = c.sort;
    query.reversed = c.reversed;
    query.grouping = c.grouping;
    EXPECT_EQ(text(), c.text);
  }
}

TEST_F(Results, FiltersByEachOfItsParts) {
  using Kept = ResultsFilter::Kept;
  struct Case {
    ResultsFilter filter;
    const char* text;
  };
  selection.mark(view.row(0));
  query.grouping = ResultsGrouping::flat;
  for (const Case& c :
       {Case{{.text = " SHOP  /b "}, " Build 10"}, Case{{.text = "package pip"}, " pip 15"},
        Case{{.text = "no such"}, ""}, Case{{.ecosystems = {"rust", "go"}}, " target 25"},
        Case{{.activities = {ProjectActivity::dormant}}, " venv 40 target 25"},
        Case{{.tiers = {ArtifactSafetyTier::caution}}, " Build 10"}, Case{{.kept = Kept::kept}, " venv 40"},
        Case{{.kept = Kept::removable, .minimumBytes = 20}, " target 25 dist 20"},
        Case{{.onlyMarked = true}, " dist 20"}}) {
    query.filter = c.filter;
    EXPECT_EQ(text(), c.text);
  }
}

TEST_F(Results, CountMarksThatTheListHidesToo) {
  EXPECT_EQ(made()->marked, ResultsTotals());
  for (const std::size_t row : {0, 1, 2}) selection.mark(view.row(row));
  query.filter.text = "engine";
  const auto snapshot = made();
  EXPECT_EQ(snapshot->shown, (ResultsTotals{2, 25}));
  EXPECT_EQ(snapshot->all, (ResultsTotals{6, 75}));
  EXPECT_EQ(snapshot->marked, (ResultsTotals{3, 55}));
  EXPECT_EQ(snapshot->markedByTier[1], (ResultsTotals{1, 10}));
  EXPECT_EQ(snapshot->groups.front().marks(), MarkState::all);  // what is kept cannot be marked
}

TEST_F(Results, SumLinksBetweenFindingsOnce) {
  // Both hold the same 100 bytes, which neither frees alone.
  std::vector<FoundArtifact> findings(3);
  std::vector<ResultRow> rows{rowAt("/p/a", 7), rowAt("/q/b", 8), rowAt("/q/part", 50, Kind::part)};
  for (std::size_t i = 0; i < 2; ++i) {
    findings[i].finding.freeableBytes = static_cast<std::uint64_t>(rows[i].freeableBytes);
    findings[i].shared = {{.device = 1, .inode = 2, .bytes = 100, .linksInside = 1, .links = 2}};
  }
  view.replaceAll(rows, &findings);
  selection.mark(rows[1]);
  EXPECT_EQ(text(), "q 8: part 50 b 8 | p 7: a 7");
  EXPECT_EQ(made()->all.freeableBytes, 115);
  EXPECT_EQ(made()->marked.freeableBytes, 8);
  query.grouping = ResultsGrouping::ecosystem;
  EXPECT_EQ(made()->groups.front().freeableBytes, 115);
}

TEST_F(Results, KeepTheirSnapshotsAndReplaceKnownPaths) {
  const auto before = made();
  const std::string text = textOf(*before);
  view.add({rowAt("/code/shop/dist", 21), rowAt("/code/new/dist", 1)});
  EXPECT_EQ(view.size(), 7U);
  EXPECT_EQ(view.find(idOf("/code/shop/dist"))->freeableBytes, 21);
  query.sort = ResultsSort::name;
  query.grouping = ResultsGrouping::flat;
  EXPECT_EQ(this->text(), " site 5 target 25 venv 40 dist 1 Build 10 dist 21 pip 15");
  view.replaceAll({});
  EXPECT_EQ(textOf(*before), text);
  EXPECT_EQ(this->text(), "");
}

TEST_F(Results, DropWhatWasRemovedAndWhatLayInItUntilItIsBack) {
  view.replaceAll({rowAt("/p/a", 5), rowAt("/p/a/in", 2, Kind::part), rowAt("/q/in", 2, Kind::part), rowAt("/p/b", 1)});
  view.drop({idOf("/p/a")});
  EXPECT_EQ(text(), "p 1: b 1 | q 0: in 2");
  EXPECT_EQ(view.find(idOf("/p/b")), &view.row(1));
  EXPECT_TRUE(view.restore({"/p/a"}));
  EXPECT_EQ(text(), "p 6: a 5 b 1 | q 0: in 2 | a 0: in 2");
  EXPECT_FALSE(view.restore({"/p/a"}));  // it is not away
}

TEST_F(Results, LeaveTheCursorOutOfWhatIsRemoved) {
  view.replaceAll({rowAt("/p/a", 9), rowAt("/p/b", 1), rowAt("/q/c", 5), rowAt("/r/d", 3)});
  struct Case {
    std::size_t line;
    std::set<RowID> going;
    std::size_t after;
  };
  // Lines: p, a, b, q, c, r, d.
  for (const Case& c : {Case{1, {idOf("/p/a")}, 3}, Case{0, {idOf("/p/b")}, 3}, Case{3, {idOf("/p/a")}, 3},
                        Case{6, {idOf("/r/d")}, 4}, Case{1, {idOf("/p/a"), idOf("/q/c"), idOf("/r/d")}, 1}}) {
    ResultsCursor cursor;
    cursor.follow(made());
    cursor.moveTo(c.line);
    cursor.leave(c.going);
    EXPECT_EQ(cursor.line(), c.after);
  }
}

TEST_F(Results, NeverMarkOnePathForAnother) {
  ResultRow twin = rowAt("/hostile", 1);
  twin.id = view.row(0).id;
  view.add({twin});
  EXPECT_EQ(view.find(twin.id)->path, "/code/shop/dist");
  EXPECT_EQ(view.row(6).path, "/hostile");
  EXPECT_FALSE(view.row(6).isMarkable());
  selection.markShown(*made());
  EXPECT_FALSE(selection.pathsIn(view).contains("/hostile"));
  EXPECT_EQ(made()->marked.items, 5U);
}

/// Where the cursor is: the label of an item, or "[name]" of a group.
std::string placeOf(const ResultsCursor& cursor, const ResultsSnapshot& snapshot) {
  if (cursor.at() == nullptr) return {};
  if (cursor.row() != nullptr) return cursor.row()->label.string();
  return "[" + snapshot.groups[cursor.at()->group].name.string() + "]";
}

TEST_F(Results, TheCursorStaysWithItsRow) {
  ResultsCursor cursor;
  const auto follow = [&] {
    const auto snapshot = made();
    cursor.follow(snapshot);
    return placeOf(cursor, *snapshot);
  };
  EXPECT_EQ(follow(), "[shop]");
  view.add({rowAt("/code/huge/x", 1000)});
  EXPECT_EQ(follow(), "[huge]") << "it has not been moved yet";
  cursor.moveBy(3);
  EXPECT_EQ(follow(), "dist");
  view.add({rowAt("/code/larger/y", 2000)});
  EXPECT_EQ(follow(), "dist");
  query.sort = ResultsSort::name;
  EXPECT_EQ(follow(), "dist");
  query.folded = {made()->groups.back().id};
  EXPECT_EQ(follow(), "[shop]");
  query = {};
  EXPECT_EQ(follow(), "[shop]");
  query.filter.text = "engine";
  EXPECT_EQ(follow(), "[engine]") << "the nearest that followed";
  query.filter.text = "none";
  EXPECT_EQ(follow(), "");
  query = {};
  follow();
  cursor.moveToLast();
  cursor.moveBy(5);
  EXPECT_EQ(follow(), "site");
  query.filter.text = "pip";
  EXPECT_EQ(follow(), "pip") << "or else the nearest that preceded";
  cursor.moveBy(-500);
  EXPECT_EQ(cursor.line(), 0U);
}

class Marks : public Results {
 protected:
  /// The labels of the marked rows.
  std::string marked() const {
    std::string text;
    for (const ResultRow* row : selection.rowsIn(view)) text += row->label.string() + " ";
    return text;
  }
  std::size_t lineOf(std::string_view path) const { return made()->lineOf(idOf(path)).value(); }
};

TEST_F(Marks, AreOfFindingsThatMayGo) {
  EXPECT_EQ(marked(), "");
  selection.toggle(*made(), 0);  // shop
  EXPECT_EQ(marked(), "dist Build ");
  selection.toggle(*made(), 1);
  EXPECT_EQ(marked(), "Build ");
  EXPECT_EQ(made()->groups.front().marks(), MarkState::some);
  selection.toggle(*made(), 0);
  EXPECT_EQ(marked(), "dist Build ");
  selection.toggle(*made(), 0);
  EXPECT_EQ(marked(), "");
  selection.toggle(*made(), 1000);
  selection.markRange(*made(), lineOf("/code/engine/target"), lineOf("/code/shop/Build"));
  EXPECT_EQ(marked(), "Build target ") << "the one between them is kept";
  query.filter.text = "shop";
  selection.invertShown(*made());
  EXPECT_EQ(marked(), "dist target ");
  query.folded = {made()->groups.front().id};
  selection.markRange(*made(), 0, 0);
  EXPECT_EQ(marked(), "dist Build target ");
  selection.clear();
  query.filter = {};
  selection.markShown(*made());
  EXPECT_EQ(marked(), "dist Build target site pip ");
  for (const Kind kind : {Kind::kept, Kind::part, Kind::unknown}) EXPECT_FALSE(selection.mark(rowAt("/x/y", 1, kind)));
}

TEST_F(Marks, SurviveAnotherScanAsFarAsTheyMay) {
  selection.markShown(*made());
  auto rows = someRows();
  rows[0].mark.kind = Kind::kept;
  rows.pop_back();
  view.replaceAll(rows);
  EXPECT_EQ(selection.recheck(view).sentence(), "2 marked items are gone or must stay now");
  EXPECT_EQ(marked(), "Build target site ");
  EXPECT_EQ(selection.recheck(view).sentence(), "");
}

}  // namespace
}  // namespace tidra
