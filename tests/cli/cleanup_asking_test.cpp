// clean, plan, apply, quarantine and trash: what they list, refuse, write and keep.
#include <signal.h>
#include <unistd.h>

#include <filesystem>
#include <iterator>
#include <limits>
#include <set>
#include <thread>

#include "core/base/joining_thread.h"
#include "core/base/json_fields.h"
#include "core/model/cleanup_plan.h"
#include "core/platform/files.h"
#include "tests/cli/cli_fixture.h"
#include "tests/support/matchers.h"

namespace tidra {
namespace {

class CleanupAsking : public CliTest {
 protected:
  /// The paths of a plan, below the home folder.
  Texts planned(Texts arguments) const {
    arguments.insert(arguments.begin(), {"plan", "--no-system", "--json"});
    const ProgramRun ran = run(arguments);
    EXPECT_EQ(ran.status, 0) << ran.err;
    Texts paths;
    for (const auto& item : CleanupPlan::parse(ran.out, "The plan").items)
      paths.push_back(item.path.substr(tree().root().size() + 1));
    return paths;
  }
  /// A plan with one item.
  std::string writePlan(const std::string& path, const std::string& source = "projectWalk") const {
    const auto host = documentOf(run({"plan", "--no-system"})).at("host").get<std::string>();
    return tree().writeFile("plan.json", planOf(host, {path}, "safe", source));
  }
};

TEST_F(CleanupAsking, ListsInTheOrderAndLengthThatIsAskedFor) {
  tree().setModified("code/web", TimePoint{std::chrono::seconds{1200000000}});
  EXPECT_THAT(planned({"--sort", "size", "--apparent-size"}),
              ElementsAre("code/tool/target", "code/web/node_modules", "code/ancient/target", "code/web/dist",
                          "code/snake/.venv"));
  EXPECT_THAT(planned({"--sort", "path"}), ElementsAre("code/ancient/target", "code/snake/.venv", "code/tool/target",
                                                       "code/web/dist", "code/web/node_modules"));
  EXPECT_EQ(planned({"--sort", "age"}).front(), "code/ancient/target");
  const ProgramRun ran = clean({"--dry-run", "--sort", "path", "--limit", "1"});
  EXPECT_THAT(ran.out, HasSubstr("~/code/ancient/target"));
  EXPECT_THAT(ran.out, HasSubstr("and 4 more"));
  const ProgramRun toFile = run({"plan", "--no-system", "-o", tree().path("plan.json"), "--limit", "1"});
  EXPECT_THAT(toFile.out, HasSubstr("and 4 more"));
  EXPECT_THAT(CleanupPlan::parse(*readFile(tree().path("plan.json")), "The plan").items, SizeIs(5));
  for (const char* wrong :
       {"clean --yes --limit few", "clean --yes --sort colour", "plan --limit few", "plan --sort colour"})
    EXPECT_EQ(run(wordsOf(wrong)).status, 2) << wrong;
  EXPECT_TRUE(exists("code/tool/target"));
}

TEST_F(CleanupAsking, AnAgeIsReadFromMoreFilesThanTheDateThatIsShown) {
  constexpr TimePoint longAgo{std::chrono::seconds{1200000000}};
  for (const char* folder : {"code/web/s/t/read", "code/web/s/t/unread"}) {
    for (int i = 0; i < 600; ++i) {
      const std::string file = folder + ("/" + std::to_string(i));
      tree().writeFile(file);
      tree().setModified(file, longAgo);
    }
  }
  for (const auto& entry : std::filesystem::directory_iterator(tree().path("code/web"))) {
    if (entry.is_regular_file()) tree().setModified("code/web/" + entry.path().filename().string(), longAgo);
  }
  EXPECT_THAT(planned({"--older-than", "30d"}), Contains("code/web/node_modules"));
  tree().writeFile("code/web/s/t/unread/1");
  tree().setModified("code/web/s/t/unread", longAgo);
  EXPECT_THAT(run({"scan", "--no-system", "--older-than", "30d"}).out, HasSubstr("code/web"));
  EXPECT_THAT(planned({"--older-than", "30d"}), Not(Contains("code/web/node_modules")));
}

TEST_F(CleanupAsking, AQuarantineThatCannotBeUsedIsRefusedOnceBeforeAnything) {
  tree().writeFile("file");
  tree().symlink("link", tree().makeFolder("else"));
  std::filesystem::permissions(tree().makeFolder("open"), std::filesystem::perms{0755});
  const auto before = tree().snapshot();
  for (const auto& [folder, why] : TextPairs{{tree().path("file"), "is not a folder"},
                                             {tree().path("file/below"), "Not a directory"},
                                             {tree().path("link"), "is a link"},
                                             {tree().path("open"), "is open to other users"},
                                             {"/", "cannot be / itself"}}) {
    for (const char* how : {"--yes", "--dry-run"}) {
      EXPECT_THAT(refused({"clean", "--no-system", how, "--method", "quarantine", "--quarantine-dir", folder}),
                  HasSubstr(why));
    }
  }
  EXPECT_EQ(tree().snapshot(), before);
}

TEST_F(CleanupAsking, RootMakesNothingInTheHomeFolderOfAnotherUser) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs root";
  ASSERT_EQ(::lchown(tree().root().c_str(), 65534, 65534), 0);
  const auto before = tree().snapshot();
  for (const char* method : {"trash", "quarantine"}) {
    EXPECT_THAT(clean({"--yes", "--method", method, "code/web"}), fails(2, HasSubstr("belongs to another user")))
        << method;
  }
  EXPECT_THAT(run({"scan", "--no-system", "code"}).err, HasSubstr("so nothing was kept there"));
  EXPECT_EQ(run({"exclude", "add", "x"}).status, 2);
  EXPECT_EQ(tree().snapshot(), before);
  const ProgramRun elsewhere = clean({"--yes", "--method", "quarantine", "--quarantine-dir", "store", "code/web"});
  EXPECT_EQ(elsewhere.status, 2) << "still in that home folder";
  EXPECT_THAT(clean({"--yes", "--method", "delete", "code/web"}).out, HasSubstr("2 items deleted"));
}

TEST_F(CleanupAsking, AnItemOfAPlanThatIsGoneIsNamedAsGone) {
  for (const auto& [path, why] : TextPairs{{"~/code/gone/target", "Path not found"},
                                           {"~/code/gone", "Path not found"},
                                           {"conda:nonsense", "Unknown Conda target"},
                                           {"pip:orphan:" + tree().path("code"), "pip not found in venv"},
                                           {"~/code/tool", "matches no rule"}}) {
    const bool isOfProject = path.starts_with('~');
    const std::string file =
        writePlan(isOfProject ? tree().root() + path.substr(1) : path, isOfProject ? "projectWalk" : "condaCLI");
    for (const char* how : {"--yes", "--dry-run"})
      EXPECT_THAT(run({"apply", file, how}), fails(1, HasSubstr(path + ": " + why))) << path;
  }
  EXPECT_TRUE(exists("code/tool/target"));
}

TEST_F(CleanupAsking, ApplyKeepsOutWhatIsExcludedOrSwitchedOff) {
  const std::string file = writePlan(tree().path("code/tool/target"));
  for (const auto& [option, value] :
       {std::pair{"--exclude", tree().path("code/tool")}, {"--disable-rule", std::string("target")}}) {
    EXPECT_EQ(run({"apply", file, "--yes", option, value}).status, 1) << option;
    EXPECT_TRUE(exists("code/tool/target")) << option;
  }
  auto above = documentOf(run({"plan", "--no-system", "--method", "delete", tree().path("code/tool")}));
  above["items"][0]["path"] = tree().path("code");
  const std::string whole = tree().writeFile("whole.json", above.dump());
  EXPECT_THAT(run({"apply", whole, "--yes"}).err, HasSubstr("code: matches no rule; --allow-any-path removes"));
  ASSERT_EQ(run({"exclude", "add", tree().path("code/tool")}).status, 0);
  EXPECT_THAT(run({"apply", file, "--yes", "--allow-any-path"}), fails(1, HasSubstr("target: is excluded; tidra")));
  EXPECT_THAT(run({"apply", whole, "--yes", "--allow-any-path"}), fails(1, HasSubstr("tool, which is excluded")));
  EXPECT_TRUE(exists("code/tool/target"));
  ASSERT_EQ(run({"exclude", "remove", tree().path("code/tool")}).status, 0);
  EXPECT_EQ(run({"apply", file, "--yes", "--threads", "2"}).status, 0);
  EXPECT_FALSE(exists("code/tool/target"));
}

TEST_F(CleanupAsking, SumsOfHugeSizesStayWithinTheirType) {
  const auto plan = documentOf(run({"plan", "--no-system"}));
  auto huge = plan;
  for (auto& item : huge["items"]) item["bytes"] = std::numeric_limits<std::int64_t>::max();
  EXPECT_THAT(
      run({"apply", tree().writeFile("plan.json", huge.dump()), "--dry-run", "--apparent-size", "--limit", "1"}),
      succeeds(HasSubstr("and 4 more with 8589934592.0 GB")));
}

TEST_F(CleanupAsking, QuarantineEntriesAreListedInColumnsAndTheirBytesAreExact) {
  tree().writeFile("code/bad\xff/Cargo.toml");
  tree().writeFileOfSize("code/bad\xff/target/f", 10);
  tree().writeFile("code/bad\xff/target/CACHEDIR.TAG");
  ASSERT_EQ(clean({"--yes", "--method", "quarantine", "--ecosystem", "rust"}).status, 0);
  auto lines = linesOf(run({"quarantine", "list"}).out);
  ASSERT_GE(lines.size(), 4U);
  EXPECT_THAT(lines.back(), HasSubstr("purging them frees"));
  lines.erase(lines.begin());  // titles
  lines.pop_back();
  std::set<std::size_t> columns;
  for (const std::string& line : lines) columns.insert(line.find("  ~/"));
  EXPECT_THAT(columns, SizeIs(1));
  EXPECT_THAT(run({"quarantine", "restore", "--all", "--json"}).out, Not(HasSubstr("restoredBytes")))
      << "the entries themselves are called target";
  EXPECT_TRUE(exists("code/bad\xff/target/f"));
}

TEST_F(CleanupAsking, AnInterruptionDuringTheLastItemEndsEverything) {
  for (int folder = 0; folder < 400; ++folder) {
    for (int file = 0; file < 50; ++file)
      tree().writeFile("one/web/node_modules/" + std::to_string(folder) + "/" + std::to_string(file));
  }
  tree().writeFile("one/web/package.json", R"({"dependencies": {"a": "1"}})");
  tree().writeFile("one/web/node_modules/.package-lock.json");
  tree().writeFile(".local/share/Trash/files/old");
  tree().writeFile(".local/share/Trash/info/old.trashinfo",
                   "[Trash Info]\nPath=/x\nDeletionDate=2001-01-01T00:00:00\n");
  std::filesystem::permissions(tree().path(".local/share/Trash"), std::filesystem::perms{0700});
  // The interrupt arrives once the folder has its hidden name, or too late, when the item is gone.
  ProgramOptions options;
  options.errIsTerminal = true;
  JoiningThread interrupter;
  options.onFirstError = [&](pid_t process) {
    interrupter = JoiningThread([&, process] {
      while (exists("one/web/node_modules")) std::this_thread::yield();
      ::kill(process, SIGINT);
    });
  };
  const ProgramRun ran = clean({tree().path("one"), "--yes", "--method", "delete", "--empty-trash"}, options);
  interrupter.join();
  const std::filesystem::directory_iterator left(tree().path("one/web"));
  if (std::distance(begin(left), end(left)) == 1) GTEST_SKIP() << "the item was gone before the interruption arrived";
  EXPECT_EQ(ran.status, 130) << ran.err;
  EXPECT_TRUE(exists(".local/share/Trash/files/old"));
}

}  // namespace
}  // namespace tidra
