// Named roots bound everything: what is outside is neither shown nor removed unless requested.
#include <filesystem>

#include "core/base/json_fields.h"
#include "tests/cli/cli_fixture.h"
#include "tests/support/matchers.h"

namespace tidra {
namespace {

constexpr const char* note = "note: Caches and tools outside ~/code were not looked at; --system includes them.\n";

/// "code" has a project and a cache; another cache and a Conda environment are elsewhere.
class NamedRoots : public CliTest {
 protected:
  NamedRoots() {
    tree().writeFileOfSize("u/code/p/node_modules/f", 10);
    tree().writeFile("u/code/p/package.json", R"({"dependencies": {"a": "1"}})");
    tree().writeFile("u/code/p/node_modules/.package-lock.json");
    tree().writeFileOfSize("u/code/uv/f", 20);
    tree().writeFileOfSize("u/.npm/_cacache/f", 30);
    tree().writeFileOfSize("u/.cargo/registry/f", 40);
    tree().writeFileOfSize("u/conda/envs/e/f", 50);
    tree().symlink("link", tree().path("u/code"));
    tree().writeProgram("bin/conda", "echo x >> '" + tree().path("asked") +
                                         "'\ncase \"$1 $2\" in 'info --base') echo '" + tree().path("u/conda") +
                                         "';;\n'env list') echo '{\"envs\": [\"" + tree().path("u/conda/envs/e") +
                                         "\"]}';;\n*) exit 1;; esac");
  }

  ProgramRun in(std::vector<std::string> arguments) const {
    std::filesystem::remove(tree().path("asked"));
    return run(arguments, {.environment = {{"HOME", tree().path("u")},
                                           {"UV_CACHE_DIR", tree().path("u/code/uv")},
                                           {"PATH", tree().path("bin") + ":/usr/bin:/bin"}},
                           .folder = tree().path("u")});
  }
  bool condaWasAsked() const { return exists("asked"); }

  static std::vector<std::string> paths(const ProgramRun& ran, const char* key) {
    std::vector<std::string> paths;
    const auto document = documentOf(ran);
    for (const auto& item : document.at("items")) paths.push_back(item.at(key));
    return paths;
  }
};

TEST_F(NamedRoots, BoundWhatLiesOutsideProjects) {
  const std::string project = "~/code/p/node_modules";
  const std::string inside = "~/code/uv";
  const std::vector<std::string> elsewhere{"~/.npm/_cacache", "~/.cargo/registry", "conda:env:e"};
  std::vector<std::string> all{project, inside};
  all.insert(all.end(), elsewhere.begin(), elsewhere.end());
  struct Case {
    std::vector<std::string> arguments;
    std::vector<std::string> found;
    bool saysSo = false;
    bool asksConda = false;
  };
  for (const Case& c : std::vector<Case>{
           {{}, all, false, true},
           {{"."}, all, false, true},
           {{tree().root()}, all, false, true},
           {{"code"}, {project, inside}, true},
           {{tree().path("link")}, {tree().path("link/p/node_modules"), inside}, true},
           {{"code/uv"}, {inside}, true},
           {{"code/p", "conda"}, {project}, true},
           {{"code", "--system"}, all, false, true},
           {{"code", "--no-system"}, {project}},
           {{"code", "--category", "python"}, {project, "conda:env:e"}, true, true},
           {{"code", "--category", "globalCaches"}, {project, inside}, true},
           {{"code", "--quiet"}, {project, inside}},
           {{"--category", "python"}, {"conda:env:e"}, false, true},
           {{"--category", "globalCaches"}, {inside, "~/.npm/_cacache", "~/.cargo/registry"}},
           {{"--category", "globalCaches", "."}, {project, inside, "~/.npm/_cacache", "~/.cargo/registry"}},
       }) {
    auto arguments = c.arguments;
    arguments.insert(arguments.begin(), {"scan", "--json", "--tier", "safe,caution"});
    const ProgramRun ran = in(arguments);
    const std::string message = testing::PrintToString(c.arguments);
    EXPECT_EQ(ran.status, 0) << message << ran.err;
    auto found = paths(ran, "displayPath");
    std::erase_if(found,
                  [](const std::string& path) { return path.starts_with("/") && path.find("link") == path.npos; });
    EXPECT_THAT(found, UnorderedElementsAreArray(c.found)) << message;
    EXPECT_EQ(ran.err.find("--system includes them") != std::string::npos, c.saysSo) << message << ran.err;
    EXPECT_EQ(condaWasAsked(), c.asksConda) << message;
    const bool namesPlacesOnly = !c.arguments.empty() && c.arguments.front() == "--category" && c.arguments.size() == 2;
    EXPECT_EQ(ran.err.find("Projects were not looked at") != std::string::npos, namesPlacesOnly) << message << ran.err;
  }
  EXPECT_THAT(in({"scan", "code"}).err, note);
  EXPECT_EQ(in({"scan", "--system", "--no-system"}).status, 2);
}

TEST_F(NamedRoots, BoundWhatIsPlannedAndRemoved) {
  EXPECT_THAT(paths(in({"plan", "code"}), "path"),
              UnorderedElementsAre(tree().path("u/code/p/node_modules"), tree().path("u/code/uv")));
  const ProgramRun whole = in({"plan", "--system", "code"});
  EXPECT_THAT(whole.err, Not(HasSubstr("--system")));
  const ProgramRun cleaned = in({"clean", "code", "--method", "delete", "--yes"});
  EXPECT_EQ(cleaned.status, 0);
  EXPECT_THAT(cleaned.out, HasSubstr("2 items deleted"));
  EXPECT_EQ(cleaned.err, note);
  EXPECT_TRUE(exists("u/.npm/_cacache/f"));
  EXPECT_EQ(in({"clean", "code", "--yes"}).err, note) << "nothing is left to remove";
  // A plan names its items, wherever they are.
  tree().writeFile("u/plan.json", whole.out);
  EXPECT_EQ(in({"apply", "plan.json", "--method", "delete", "--yes"}).status, 1) << "two are gone";
  EXPECT_FALSE(exists("u/.npm/_cacache"));
}

}  // namespace
}  // namespace tidra
