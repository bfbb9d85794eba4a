#include "core/scan/probes/ai_tools_probe.h"

#include <algorithm>

#include "tests/core/scan/probes/probe_fixture.h"
#include "tests/support/matchers.h"

namespace tidra {
namespace {

std::string withDashes(std::string path) {
  std::replace_if(
      path.begin(), path.end(), [](unsigned char c) { return std::isalnum(c) == 0; }, '-');
  return path;
}

TEST(ClaudeSessions, ShowTheProjectThatTheFolderNameEncodes) {
  ProbeFixture fixture;
  const auto& tree = fixture.tree();
  const std::string root = withDashes(tree.root());
  struct Case {
    const char* project;  // created, relative to the tree
    std::string code;     // the folder's name
    std::string shown;
  };
  const std::vector<Case> cases{
      {"home/code/web", root + "-home-code-web", "~/code/web"},
      {"home/code/my-app.v2", root + "-home-code-my-app-v2", "~/code/my-app.v2"},
      {"home/a-b/c-d/e", root + "-home-a-b-c-d-e", "~/a-b/c-d/e"},
      {"home/.dotted/_x", root + "-home--dotted--x", "~/.dotted/_x"},
      {"home/caf\xc3\xa9/\xf0\x9f\x98\x80", root + "-home-caf----", "~/caf\xc3\xa9/\xf0\x9f\x98\x80"},
      {"srv/data", root + "-srv-data", "@/srv/data"},
      // "one" does not exist, so the longer name must be tried.
      {"home/one-two/three", root + "-home-one-two-three", "~/one-two/three"},
      {"home/one/other", root + "-home-one-other", "~/one/other"},
  };
  std::vector<std::string> expected;
  for (const Case& c : cases) {
    tree.makeFolder(c.project);
    tree.makeFolder("home/.claude/projects/" + c.code);
    expected.push_back(c.shown);
  }
  for (const std::string& undecodable :
       {root + "-home-vanished", std::string("not-absolute"), std::string("-"), std::string(200, '-')}) {
    tree.makeFolder("home/.claude/projects/" + undecodable);
    expected.push_back(fixture.shown(undecodable));
  }
  tree.writeFile("home/.claude/projects/file");
  tree.symlink("home/.claude/projects/link", tree.path("srv"));
  std::vector<std::string> shown;
  for (const auto& project : AIToolsProbe::claudeProjects(fixture.context.resolver))
    shown.push_back(fixture.shown(project.displayName));
  EXPECT_THAT(shown, UnorderedElementsAreArray(expected));

  tree.writeFile("home/.claude/projects/not-absolute/session.jsonl");
  const TimePoint used{std::chrono::seconds{1600000000}};
  tree.setModified("home/.claude/projects/not-absolute/session.jsonl", used);
  const ProbeReport report = AIToolsProbe().scan(fixture.context);
  const auto item = std::find_if(report.items.begin(), report.items.end(), [](const ProbeItem& candidate) {
    return candidate.finding.path.ends_with("/not-absolute");
  });
  ASSERT_NE(item, report.items.end());
  EXPECT_EQ(item->finding.label, "Claude Code sessions · not-absolute");
  EXPECT_EQ(item->finding.lastActivityDate, used);
  EXPECT_EQ(item->finding.safetyTier, ArtifactSafetyTier::warning);
  EXPECT_EQ(item->finding.ruleID, "claude-project-sessions");
  EXPECT_EQ(item->finding.groupRoot, "__tidra:system:ai_tools__");
  EXPECT_EQ(item->finding.restoreHint, "Past Claude Code sessions for this project cannot be resumed");
}

TEST(CursorAgent, OnlyBuildsBesideTheLinkedOneAreStale) {
  const std::vector<std::string> bases{
      "home/.local", "home/.config/Cursor/User/globalStorage/anysphere.cursor-agent-worker/agent-cli/.local"};
  for (const std::string& base : bases) {
    ProbeFixture fixture;
    const auto& tree = fixture.tree();
    const std::string versions = base + "/share/cursor-agent/versions";
    for (const char* version : {"1.0", "1.1", "2.0"}) tree.writeFile(versions + "/" + version + "/cursor-agent");
    tree.writeFile(versions + "/file");
    tree.symlink(versions + "/link", tree.path(versions + "/1.0"));
    tree.makeFolder(versions + "-of-another/3.0");
    const auto stale = [&](const std::string& target) {
      ::unlink(tree.path(base + "/bin/cursor-agent").c_str());
      if (!target.empty()) tree.symlink(base + "/bin/cursor-agent", target);
      auto lines = fixture.lines(AIToolsProbe().scan(fixture.context));
      for (std::string& line : lines)
        line = line.substr(line.find(" | ") + 3, line.rfind(" | ") - line.find(" | ") - 3);
      return lines;
    };
    const std::string label = "Cursor agent CLI · stale build ";
    const auto others = ElementsAre(label + "1.0", label + "2.0");
    EXPECT_THAT(stale(tree.path(versions + "/1.1/cursor-agent")), others);
    EXPECT_THAT(stale("../share/cursor-agent/versions/1.1/cursor-agent"), others);
    EXPECT_THAT(stale(tree.path(versions + "/1.1")), others);
    EXPECT_THAT(stale(tree.path(versions + "/link/cursor-agent")), ElementsAre(label + "1.1", label + "2.0"));
    for (const std::string& elsewhere :
         {std::string(), tree.path(versions + "/9.9/cursor-agent"), tree.path(versions), tree.path("home"),
          std::string("/"), tree.path(versions + "-of-another/3.0"), std::string("cursor-agent")})
      EXPECT_THAT(stale(elsewhere), IsEmpty()) << elsewhere;
  }
}

TEST(AgentExtensions, EachStorageOfEachEditorIsAFindingOnBothPlatforms) {
  for (const auto& [platform, settings] : std::vector<std::pair<TidraPlatform, std::string>>{
           {TidraPlatform::linux, "home/.config/"}, {TidraPlatform::macOS, "home/Library/Application Support/"}}) {
    ProbeFixture fixture;
    fixture.context.platform = platform;
    std::vector<std::string> expected;
    for (const auto& [folder, editor] :
         TextPairs{{"Code", "VS Code"}, {"Code - Insiders", "VS Code Insiders"}, {"Cursor", "Cursor"}}) {
      for (const auto& [id, name] : TextPairs{{"saoudrizwan.claude-dev", "Cline"},
                                              {"rooveterinaryinc.roo-cline", "Roo Code"},
                                              {"kilocode.kilo-code", "Kilo Code"}}) {
        const std::string storage = settings + folder + "/User/globalStorage/" + id;
        fixture.tree().makeFolder(storage);
        expected.push_back("@/" + storage + " | " + name + " tasks & checkpoints (" + editor + ") | @/" + storage);
      }
      fixture.tree().makeFolder(settings + folder + "/User/globalStorage/someone.else");
    }
    fixture.tree().makeFolder(settings + "Codium/User/globalStorage/saoudrizwan.claude-dev");
    EXPECT_THAT(fixture.lines(AIToolsProbe().scan(fixture.context)), ElementsAreArray(expected));
    fixture.context.exclusionFilter.addPattern("globalStorage");
    EXPECT_THAT(AIToolsProbe().scan(fixture.context).items, IsEmpty());
  }
}

}  // namespace
}  // namespace tidra
