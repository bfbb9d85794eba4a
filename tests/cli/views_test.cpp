// What people read: that every screen fits its terminal, and which figures and reasons it shows.
#include <gmock/gmock.h>

#include <filesystem>
#include <set>

#include "cli/cleanup_view.h"
#include "cli/progress_line.h"
#include "cli/scan_view.h"
#include "cli/table.h"
#include "core/base/json_fields.h"
#include "core/base/text.h"
#include "tests/cli/cli_fixture.h"
#include "tests/support/matchers.h"
#include "tests/support/temporary_mount.h"

namespace tidra {
namespace {

using testing::ContainsRegex;

/// Findings of every kind, with long, wide and hostile names.
std::vector<FoundArtifact> oddFindings() {
  std::vector<FoundArtifact> findings;
  const std::string longName(90, 'w');
  for (const std::string& name : {std::string("web"), longName, std::string("名前名前名前名前名前名前名前名前"),
                                  std::string("🚀 👩\u200d💻 x"), std::string("\x1b[31m\r\n")}) {
    for (const auto tier : allCases<ArtifactSafetyTier>()) {
      FoundArtifact found;
      ScanArtifactFinding& finding = found.finding;
      finding.groupRoot = "/home/me/code/" + name;
      finding.path = *finding.groupRoot + "/" + std::string(rawValue(tier));
      finding.label = finding.ecosystemTag = name;
      finding.safetyTier = tier;
      finding.restoreHint = "npm install " + name + " and some more words about it";
      finding.sizeBytes = findings.size() * 1234567;
      if (findings.size() % 2 == 0) found.finding.evidence = "holds " + name;
      found.finding.freeableBytes = found.finding.sizeBytes / 3;
      found.finding.difference = SizeDifference::hardLinks;
      findings.push_back(found);
    }
  }
  return findings;
}

/// The widest line, and the columns at which `word` begins.
std::pair<std::size_t, std::set<std::size_t>> shapeOf(const std::string& text, const std::string& word) {
  std::pair<std::size_t, std::set<std::size_t>> shape;
  for (const std::string& line : linesOf(text)) {
    shape.first = std::max(shape.first, displayWidth(line));
    if (const auto at = line.find(word); at != std::string::npos) shape.second.insert(displayWidth(line.substr(0, at)));
  }
  return shape;
}

TEST(Views, OfEveryCommandFitTheirTerminalAndAlign) {
  const auto findings = oddFindings();
  const TidraPathResolver resolver{"/home/me", {}};
  ScanReport::Circumstances circumstances;
  circumstances.scanRoot = "/home/me/code";
  const ScanReport report = ScanReport::make(findings, resolver, circumstances);
  std::vector<ItemMark> marks = marksOf(report, std::nullopt);
  marks[0] = {ItemMark::Kind::kept, "is kept by /home/me/code/web/.tidra-keep"};
  std::vector<CleanupCandidate> candidates;
  for (const auto& found : findings) candidates.push_back({CleanupPlan::Item::make(found), &found, std::nullopt});
  candidates[1].item.path = "docker:volume:data";
  TextTable table({{"HOST"}, {"STATUS"}, {"LAST SEEN"}, {"FREE", true}, {"RECLAIMABLE", true}, {"ERROR"}});
  table.add({std::string(60, 'h'), "stale", "2 weeks ago", "12.3 GB", "1023 B", std::string(200, 'e')});
  table.add({"🚀", "ok", "now", "1 B", "1.1 GB", ""});

  for (const bool isUtf8 : {true, false}) {
    chooseGlyphs({{"LANG", "de_DE.UTF-8"}, {"LC_ALL", isUtf8 ? "" : "C"}});
    for (const std::size_t columns : {20, 30, 40, 60, 64, 70, 80, 120, 200}) {
      ScanViewOptions view;
      view.terminal.isTerminal = true;
      view.terminal.columns = columns;
      CleanupViewOptions planView;
      planView.terminal = view.terminal;
      planView.home = "/home/me";
      const std::string scan = scanText({report, ShownSizes(report, &findings, false), marks}, view);
      const std::string plan = planText(candidates, planView);
      const std::string hosts = table.text(view.terminal);
      for (const std::string& text :
           {scan, plan, hosts,
            progressText({"1,234,567 entries", "123 findings", "12.3 GB"}, "~/a/" + std::string(99, 'b'), columns)}) {
        EXPECT_LE(shapeOf(text, "").first, columns) << text;
        if (!isUtf8) {
          EXPECT_THAT(text, AllOf(Not(HasSubstr("…")), Not(HasSubstr("█")), Not(HasSubstr("–")), Not(HasSubstr("·"))));
        }
      }
      if (columns < 30) continue;
      for (const char* tier : {"  caution", "  safe", "  warning"})
        EXPECT_THAT(shapeOf(scan.substr(0, scan.find("By tier")), tier).second, SizeIs(1)) << columns << scan;
      if (columns >= 80) {
        EXPECT_THAT(shapeOf(hosts, " GB").second, SizeIs(2)) << hosts;
      }
    }
  }
  chooseGlyphs({{"LANG", "C.UTF-8"}});
}

TEST(Views, TheResultSaysHowMuchIsFreeAndWhen) {
  const auto findings = oddFindings();
  std::vector<CleanupCandidate> candidates;
  for (const std::size_t i : {1U, 2U}) {
    candidates.push_back({CleanupPlan::Item::make(findings[i]), &findings[i], std::nullopt});
  }
  CleanupOutcome outcome;
  for (const auto& candidate : candidates) {
    outcome.disposal.receipts.push_back({candidate.item.path, DisposalMethod::delete_, {}, candidate.item.bytes, {}});
    outcome.freedEach.push_back(candidate.freeableBytes());
  }
  OutcomeContext context{.volumes = "the volume has 2 GB free, before 1 GB", .candidates = candidates};
  context.method = DisposalMethod::delete_;
  EXPECT_EQ(outcomeText(outcome, context), "2 items deleted, 1 MB freed (the volume has 2 GB free, before 1 GB).\n");
  context.isUpperBound = true;
  EXPECT_THAT(outcomeText(outcome, context), StartsWith("2 items deleted, up to 1 MB freed ("));
  context.apparentSize = true;
  EXPECT_THAT(outcomeText(outcome, context), StartsWith("2 items deleted, 4 MB of files ("));
  context.apparentSize = false;
  outcome.disposal.receipts[0].method = context.method = DisposalMethod::trash;
  outcome.freedEach[0] = 0;
  EXPECT_THAT(outcomeText(outcome, context), StartsWith("1 item moved to the trash; tidra undo brings it back. That "
                                                        "frees nothing until the trash is emptied: then about 402 KB. "
                                                        "To free it now: tidra trash purge --last.\n"
                                                        "1 item deleted, up to 804 KB freed ("));
  context.dryRun = true;
  EXPECT_EQ(outcomeText(outcome, context),
            "1 item would be moved to the trash, which frees nothing until the trash is emptied: then about 402 KB; "
            "1 item would be deleted, up to 804 KB freed; nothing was changed.\n");
}

TEST(Views, OfPipSayThatItsPackagesStay) {
  const auto asked = [](const std::vector<std::string_view>& paths) {
    return planQuestion(paths, 5 << 20, DisposalMethod::trash, Remover::tool);
  };
  EXPECT_EQ(asked({"pip:orphan:/e"}), "Have pip empty its download cache? The unused packages stay.");
  EXPECT_EQ(
      asked({"docker:prune:dangling", "pip:orphan:/e"}),
      "Have docker and pip remove 2 items (about 5 MB) at once and for good? pip empties its download cache only; "
      "the unused packages stay.");
  CleanupOutcome outcome;
  outcome.disposal.receipts.push_back({"pip:orphan:/e", DisposalMethod::trash, {}, {}, {}});
  outcome.unmeasured.push_back({"pip:orphan:/e", 5 << 20, true});
  outcome.freedEach = {5 << 20};
  EXPECT_EQ(outcomeText(outcome, {.candidates = {}}),
            "pip has emptied its download cache, 5 MB freed; the packages stay.\n");
  outcome.unmeasured[0].reportedByTool = false;
  outcome.freedEach = {0};
  EXPECT_THAT(outcomeText(outcome, {.candidates = {}}), HasSubstr("cache, pip does not say how much is freed; the"));
}

class Figures : public CliTest {
 protected:
  Figures() {
    // 2 MB that also have names in a store, and 300 KB of their own.
    std::filesystem::create_directories(tree().path("store"));
    tree().writeFile("store/big", std::string(2 << 20, 'x'));
    std::filesystem::create_hard_link(tree().path("store/big"), tree().path("code/web/node_modules/big"));
    tree().writeFile("code/tool/target/own", std::string(300 << 10, 'x'));
  }
};

TEST_F(Figures, LeadWithWhatRemovingFrees) {
  const Texts places{"code/web", "code/tool"};
  const auto with = [&](Texts arguments) {
    arguments.insert(arguments.end(), places.begin(), places.end());
    return arguments;
  };
  const std::string freed = scan(with({})).out;
  EXPECT_LT(freed.find("~/code/tool "), freed.find("~/code/web ")) << freed;
  EXPECT_THAT(freed,
              AllOf(ContainsRegex("yarn; hard links\n"), Not(HasSubstr("2 MB")), HasSubstr("KB can be freed: 3 art")));
  const std::string apparent = scan(with({"--apparent-size"})).out;
  EXPECT_LT(apparent.find("~/code/web "), apparent.find("~/code/tool ")) << apparent;
  EXPECT_THAT(apparent, AllOf(HasSubstr("    2 MB  node_modules"), HasSubstr("2 MB can be removed: 3 artefacts")));
  const std::string planned = clean(with({"-n", "--method", "delete"})).out;
  EXPECT_LT(planned.find("~/code/tool/target"), planned.find("~/code/web/node_modules")) << planned;
  EXPECT_THAT(planned, ContainsRegex("to get it back: npm install.*; hard links\n"));
  const std::string listed = clean(with({"-n", "--method", "delete", "--apparent-size"})).out;
  EXPECT_LT(listed.find("~/code/web/node_modules"), listed.find("~/code/tool/target")) << listed;
  EXPECT_THAT(listed, HasSubstr("3 items would be deleted, 2 MB of files; nothing was changed."));
}

TEST_F(Figures, OfAStoreAndItsLinksCountTogetherWhatBothFree) {
  std::filesystem::create_directories(tree().path("code/web/dist"));
  std::filesystem::rename(tree().path("store/big"), tree().path("code/web/dist/big"));
  const std::string text = scan({"code/web"}).out;
  EXPECT_THAT(text, AllOf(ContainsRegex("~/code/web +2 MB"), HasSubstr("2 MB can be freed: 2 artefacts"),
                          ContainsRegex("Node.js / npm +2 MB +safe +2 MB")));
}

TEST_F(Figures, OfAScanAreThoseOfADefaultRemoval) {
  tree().writeFile("code/tool/.tidra-keep");
  tree().writeFile("code/plain/vendor/f");
  for (const char* file : {"requires", "store/f"}) tree().writeFile("code/snake/.venv/a/.hg/" + std::string(file));
  const std::string text = scan({}).out;
  EXPECT_THAT(text,
              AllOf(ContainsRegex("can be freed: 3 artefacts in 2 projects"),
                    ContainsRegex("more must stay: 1 artefact with"), ContainsRegex("more to review: 2 artefacts"),
                    ContainsRegex("stays: it is kept by .*/code/tool/.tidra-keep"),
                    ContainsRegex("to review: Holds a Mercurial repository")));
  EXPECT_THAT(documentOf(run({"plan", "--no-system"})).at("items"), SizeIs(3));
}

TEST_F(Figures, OfTheResultNameTheVolumeOrSayThatNothingIsFreeYet) {
  EXPECT_THAT(clean({"--yes", "--method", "delete", "code/tool"}).out,
              ContainsRegex("1 item deleted, (up to )?3[0-9]+ KB freed \\(the volume has .* free, before .*\\)\\."));
  EXPECT_THAT(clean({"--yes", "--method", "quarantine", "code/ancient"}).out,
              HasSubstr("1 item moved into quarantine; tidra undo brings it back. That frees nothing until it is "
                        "purged: then about "));
  EXPECT_THAT(clean({"--yes", "code/snake"}).out,
              HasSubstr("1 item moved to the trash; tidra undo brings it back. That frees nothing until the trash is "
                        "emptied: then about "));
}

class MountedFigures : public Figures {};

TEST_F(MountedFigures, WhatHoldsAMountIsNotOfferedAndAFullVolumeNamesTheWayOut) {
  const TemporaryMount inner(tree().makeFolder("code/tool/target/inner"));
  if (!inner) GTEST_SKIP() << "mounting is not permitted";
  const ProgramRun dry = clean({"-n", "code/tool"});
  EXPECT_THAT(dry.out, Not(HasSubstr("code/tool/target")));
  EXPECT_THAT(dry.err, HasSubstr("holds a mounted file system at"));
  EXPECT_THAT(scan({"code/tool"}).out, HasSubstr("stays: it holds a mounted file system at"));

  const TemporaryMount full(tree().makeFolder("full"), "size=1m,nr_inodes=8,mode=755");
  ASSERT_TRUE(full);
  tree().writeFile("full/p/Cargo.toml");
  tree().writeFile("full/p/target/CACHEDIR.TAG");
  for (const char* file : {"full/1", "full/2", "full/3"}) tree().writeFile(file);
  EXPECT_THAT(clean({"--yes", "full"}), fails(1, HasSubstr("No space left on device; use --method delete")));
  EXPECT_THAT(clean({"--yes", "--method", "delete", "full", "code/web"}),
              succeeds(ContainsRegex("freed \\([^;]+ has [^;]+ free, before [^;]+; [^;]+ has [^;]+ free, before ")));
}

TEST_F(Figures, APlanForCachesIsAppliedWithoutNotesAboutTheirFolders) {
  tree().writeFileOfSize(".npm/_cacache/f", 5000);
  const std::string plan = tree().path("plan.json");
  ASSERT_EQ(run({"plan", "--no-projects", "-o", plan}).status, 0);
  const ProgramRun ran = run({"apply", plan, "--dry-run"});
  EXPECT_THAT(ran.out, HasSubstr("~/.npm/_cacache"));
  EXPECT_EQ(ran.err, "");
}

}  // namespace
}  // namespace tidra
