#include "core/scan/probes/conda_probe.h"

#include "tests/core/scan/probes/probe_fixture.h"
#include "tests/support/matchers.h"

namespace tidra {
namespace {

using Answers = ProbeFixture::Answers;

class Conda : public testing::Test {
 protected:
  /// An installation in "base" with these environments, relative to the tree.
  Answers installation(const std::vector<std::string>& environments) const {
    std::string json;
    for (const std::string& environment : environments)
      json += (json.empty() ? "\"" : ",\"") + fixture.tree().path(environment) + "\"";
    return {{"info --base", "echo '" + fixture.tree().path("base") + "'"},
            {"env list --json", "cat <<'END'\n{\"envs\": [" + json + "]}\nEND\n"},
            {"clean --packages --dry-run -y", "echo 'Total: 1.5 MB'"},
            {"clean --tarballs --dry-run -y", "echo 'There are no unused tarball(s) to remove.'"},
            {"clean --index-cache --dry-run -y", "echo 'Will remove 1 index cache(s).'"}};
  }
  std::vector<std::string> found(const Answers& answers) const {
    fixture.tool("conda", answers);
    return fixture.lines(CondaProbe().scan(fixture.context));
  }
  /// The environments among the findings.
  std::vector<std::string> environments(const Answers& answers) const {
    auto lines = found(answers);
    std::erase_if(lines, [](const std::string& line) { return !line.starts_with("conda:env:"); });
    return lines;
  }

  ProbeFixture fixture;
};

TEST_F(Conda, FindsEnvironmentsAndCaches) {
  fixture.tree().makeFolder("base/envs/ml");
  fixture.tree().writeFile("base/envs/web/conda-meta/history");
  const TimePoint used{std::chrono::seconds{1600000000}};
  fixture.tree().setModified("base/envs/web/conda-meta/history", used);
  fixture.tool("conda", installation({"base", "base/envs/ml", "base/envs/web"}));
  const ProbeReport report = CondaProbe().scan(fixture.context);
  EXPECT_THAT(
      fixture.lines(report),
      ElementsAre("conda:env:ml | conda env: ml | @/base/envs/ml", "conda:env:web | conda env: web | @/base/envs/web",
                  "conda:clean:packages | Conda unused packages | 1572864", "conda:clean:tarballs | Conda tarballs | 0",
                  "conda:clean:index-cache | Conda index cache | @/base/pkgs/cache"));
  ASSERT_EQ(report.items.size(), 5U);
  const ScanArtifactFinding& web = report.items[1].finding;
  EXPECT_EQ(web.lastActivityDate, used);
  EXPECT_EQ(web.source, ArtifactSource::condaCLI);
  EXPECT_EQ(web.groupRoot, "__tidra:system:python__");
  EXPECT_EQ(web.ruleID, "conda-env");
  EXPECT_EQ(web.restoreHint, "conda env create -f environment.yml if you exported one");
  EXPECT_EQ(report.items[2].finding.ruleID, "conda-clean");
  EXPECT_EQ(report.items[2].finding.restoreHint, std::nullopt);
}

TEST_F(Conda, OffersOnlyEnvironmentsThatTheirNameFinds) {
  for (const char* folder :
       {"base/envs/good", "base/envs/active", "base/envs/twice", "home/.conda/envs/twice", "base/envs/-n",
        "base/envs/base", "base/envs/a b", "base/envs/c#", "base/envs/e\nf", "project/env", "real", "base/envs/kept"})
    fixture.tree().makeFolder(folder);
  fixture.tree().symlink("base/envs/linked", fixture.tree().path("real"));
  fixture.context.resolver.environment["CONDA_PREFIX"] = fixture.tree().path("base/envs/active/");
  fixture.context.exclusionFilter.addPrefix(fixture.tree().path("base/envs/kept"));
  const auto answers =
      installation({"base", "base/envs/active", "base/envs/twice", "home/.conda/envs/twice", "base/envs/-n",
                    "base/envs/base", "base/envs/a b", "base/envs/c#", "base/envs/e\\nf", "project/env",
                    "base/envs/gone", "base/envs/linked", "base/envs/kept", "base/envs/good", "base/envs/./good/"});
  EXPECT_THAT(environments(answers), ElementsAre("conda:env:good | conda env: good | @/base/envs/good"));
  for (const char* json : {"{\"envs\": {}}", "{\"envs\": [\"relative/envs/good\"]}", "{}", "[", "null"}) {
    auto odd = answers;
    odd[1].second = std::string("echo '") + json + "'";
    EXPECT_THAT(environments(odd), IsEmpty()) << json;
  }
  // An entry of an environments folder may be the base itself.
  auto nested = answers;
  nested[0].second = "echo '" + fixture.tree().path("base/envs/good") + "'";
  EXPECT_THAT(environments(nested), IsEmpty());
}

TEST_F(Conda, WithoutABaseThereIsNothingButANote) {
  for (const char* base : {"exit 1", "exit 0", "echo relative/base", "printf '/opt/conda\\n/else'"}) {
    auto answers = installation({});
    answers[0].second = base;
    EXPECT_THAT(found(answers), IsEmpty()) << base;
    EXPECT_THAT(CondaProbe().scan(fixture.context).notes, ElementsAre("Conda is installed but did not answer."))
        << base;
  }
}

TEST_F(Conda, IsAlsoFoundInTheHomeFolderButNowhereThatOthersMayWrite) {
  // The machine's own conda in a default place would come first.
  if (CondaProbe::find(fixture.context.resolver)) GTEST_SKIP() << "conda is installed here";
  const std::vector<std::string> usual{"micromamba", "mambaforge", "miniforge3", "anaconda3", "miniconda3"};
  for (const std::string& name : usual) {
    const std::string folder = "home/" + name + "/bin";
    fixture.tree().writeFile(folder + "/conda");
    EXPECT_NE(CondaProbe::find(fixture.context.resolver), fixture.tree().path(folder + "/conda")) << "not executable";
    fixture.tree().setMode(folder + "/conda", 0755);
    EXPECT_EQ(CondaProbe::find(fixture.context.resolver), fixture.tree().path(folder + "/conda"));
  }
  fixture.tree().setMode("home/miniconda3/bin", 0777);
  fixture.tree().setMode("home/anaconda3/bin/conda", 0757);
  EXPECT_EQ(CondaProbe::find(fixture.context.resolver), fixture.tree().path("home/miniforge3/bin/conda"));
  EXPECT_EQ(CondaProbe::find({fixture.home(), {{"PATH", fixture.tree().path("home/micromamba/bin")}}}),
            fixture.tree().path("home/micromamba/bin/conda"));
}

TEST(CondaCleanSize, IsTheFirstAnnouncedOne) {
  for (const auto& [output, bytes] :
       rowsOf("Total: 12 MB => 12582912 | total size: 1.5GB => 1610612736 | 1 GB here, then 2 MB => 2097152 | "
              "first 3 MB then 4 MB => 3145728 | cache mb 7\n\tMB => 7340032 | v1.2.3MB => 2411724 | "
              ".5MB => 5242880 | There are no tarballs, 5 MB => 0 | NOTHING TO do => 0"))
    EXPECT_EQ(CondaProbe::parseCleanSize(output), std::stoull(bytes)) << output;
  for (const char* output : {"removed some", "MB 5", "5. MB", "512 KB", ""})
    EXPECT_EQ(CondaProbe::parseCleanSize(output), std::nullopt) << output;
  EXPECT_EQ(CondaProbe::parseCleanSize(std::string(400, '9') + " MB"), std::nullopt);
}

}  // namespace
}  // namespace tidra
