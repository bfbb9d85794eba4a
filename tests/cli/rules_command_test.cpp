// Rule packs and rules files that stay.
#include "tests/cli/cli_fixture.h"
#include "tests/support/matchers.h"

namespace tidra {
namespace {

class CliRules : public CliTest {
 protected:
  CliRules() {
    for (const char* place : {"code/app/_build/dev/a", "code/other/_build/dev/a", "code/game/Library/ArtifactDB",
                              "code/c/cmake-build-x/CMakeCache.txt", "code/site/.astro/a", "code/ue/Saved/a"}) {
      tree().writeFileOfSize(place, 100);
    }
    for (const char* place :
         {"code/app/mix.exs", "code/other/mix.exs", "code/game/ProjectSettings/ProjectVersion.txt",
          "code/site/astro.config.mjs", "code/ue/ue.uproject", "code/dull/rebar.config", "code/odd/_build/a",
          "code/odd/vite.config.js", "code/odd/public/a", "code/odd/config.js", "code/odd/cache/a"}) {
      tree().writeFile(place);
    }
  }
};

TEST_F(CliRules, PacksAreNamedWhereTheyWouldFindSomethingAndStayOn) {
  const auto before = found({"-q"});
  tree().writeFile(".opam/download-cache/md5/f");
  tree().writeFile(".sbt/boot/scala-2.12.18/f");
  EXPECT_THAT(scan({}).err, HasSubstr("note: 2 Elixir, 1 CMake, 1 Unity, 1 Unreal and 1 Web project: "
                                      "tidra rules enable elixir cmake unity unreal web\n"));
  EXPECT_THAT(refused({"rules", "enable", "elixir", "unitty"}), HasSubstr("rule pack 'unitty'; did you mean unity?"));
  EXPECT_THAT(run({"rules", "enable", "elixir", "--dry-run"}).out, "elixir would be on.\n");
  EXPECT_EQ(found({"-q"}), before);
  EXPECT_THAT(run({"rules", "enable", "elixir"}), succeeds("elixir is now on.\n"));
  EXPECT_EQ(shortNames(found({"--ecosystem", "general"})), "ancient/target app/_build other/_build");
  EXPECT_THAT(scan({}).err, HasSubstr("note: 1 CMake, 1 Unity, 1 Unreal and 1 Web project: "));
  EXPECT_THAT(run({"scan", "--category", "globalCaches"}).err,
              HasSubstr("note: Caches of OCaml and Scala: tidra rules enable ocaml scala\n"));
  EXPECT_THAT(run({"rules", "packs"}).out,
              AllOf(HasSubstr("on   elixir "), HasSubstr("off  unity "), HasSubstr("1 of ")));
  const std::string policy = tree().writeFile(
      "policy.json", R"({"scan": {"packs": ["unity"], "categories": []}, "autoClean": {"minIdleDays": 0,
        "minBytes": 1, "tiers": ["safe", "caution"], "ecosystems": ["dotnet", "general"]}})",
      0600);
  const auto removed = run({"fleet", "run", "--policy", policy, "--dry-run", "--json"}).out;
  EXPECT_THAT(removed, AllOf(HasSubstr("code/game/Library"), Not(HasSubstr("code/app/_build"))));
  EXPECT_THAT(run({"rules", "disable", "elixir", "unity"}).out, "elixir is now off.\nunity was already off.\n");
  EXPECT_EQ(found({"-q"}), before);
  tree().writeFile("policy.json", R"({"scan": {"packs": ["unitty"]}})", 0600);
  EXPECT_THAT(refused({"policy", "check", policy}), HasSubstr("scan.packs: unknown rule pack 'unitty'"));
}

TEST_F(CliRules, ARuleStaysOffUntilItIsSwitchedOn) {
  EXPECT_THAT(refused({"rules", "disable", "node_module"}), HasSubstr("did you mean node_modules?"));
  const auto before = found({"-q"});
  EXPECT_THAT(run({"rules", "disable", "node_modules", "dist"}).out, "node_modules is now off.\ndist is now off.\n");
  EXPECT_THAT(run({"rules", "enable", "dist"}).out, "dist is now on.\n");
  EXPECT_EQ(shortNames(found({"code/web", "-q"})), "web/dist");
  EXPECT_THAT(clean({"code/web/node_modules"}).err,
              HasSubstr("matches the rules that are on (1 rule is switched off by tidra rules disable)"));
  EXPECT_THAT(run({"rules", "list"}).out, HasSubstr("\nSwitched off (1)\nnode_modules\n"));
  EXPECT_THAT(found({"code/web", "--no-config"}), SizeIs(2));
  EXPECT_THAT(run({"rules", "enable", "node_modules"}).out, "node_modules is now on.\n");
  EXPECT_EQ(found({"-q"}), before);
}

TEST_F(CliRules, AddedFilesAreReadByEveryScanAndBrokenOnesNamed) {
  const std::string file =
      tree().writeFile("mine.json", R"({"projectRules": [{"id": "odd", "folderName": "_build"}]})");
  EXPECT_THAT(run({"rules", "add", file}).out, HasSubstr("is now a part of every scan"));
  const std::string odd =
      tree().writeFile("k.json", R"({"projectRules": [{"id": "k", "folderName": "k", "teir": "safe"}]})");
  for (const Texts& command :
       {Texts{"rules", "check", odd}, {"rules", "add", odd, "--dry-run"}, {"scan", "--no-system", "--rules", odd}}) {
    EXPECT_THAT(run(command),
                fails(0, HasSubstr("'projectRules[0].teir' is not known and is ignored; did you mean tier?")));
  }
  EXPECT_THAT(refused({"rules", "add", file}), HasSubstr("was added before"));
  EXPECT_EQ(shortNames(found({"--ecosystem", "general"})), "ancient/target app/_build odd/_build other/_build");
  const auto folder = run({"rules", "check"}).out;
  EXPECT_THAT(folder, HasSubstr("mine.json is right.\n"));
  tree().writeFile(folder.substr(2, folder.find("mine.json") - 2) + "worse.json", "{", 0600);
  EXPECT_THAT(scan({}), fails(0, AllOf(HasSubstr("worse.json"), HasSubstr("It is left out."))));
  EXPECT_EQ(run({"rules", "check"}).status, 2);
  const std::string policy = tree().writeFile("policy.json", R"({"scan": {"categories": []}})", 0600);
  EXPECT_THAT(run({"fleet", "run", "--policy", policy, "--dry-run", "--json"}).out, Not(HasSubstr("_build")));
  EXPECT_EQ(run({"rules", "remove", "odd"}).status, 0);
  EXPECT_EQ(run({"rules", "remove", "worse"}).status, 0);
  EXPECT_EQ(shortNames(found({"--ecosystem", "general"})), "ancient/target");
}

}  // namespace
}  // namespace tidra
