#include "core/scan/probes/docker_probe.h"

#include "tests/core/scan/probes/probe_fixture.h"
#include "tests/support/matchers.h"

namespace tidra {
namespace {

using Answers = ProbeFixture::Answers;

const std::string idA = "sha256:" + std::string(64, 'a');
const std::string idB = "sha256:" + std::string(64, 'b');
const std::string idC = "sha256:" + std::string(64, 'c');

/// An engine with build cache, two dangling images, a third one used by the stopped one of two containers, and three
/// volumes.
Answers busyEngine() {
  return {
      {"info --format {{.ServerVersion}}", "echo 24.0.7"},
      {"system df --format {{.Type}}\t{{.Size}}", R"(printf 'Local Volumes\t7MB\nBuild Cache\t1.5GB\nImages\t3GB\n')"},
      {"images --filter dangling=true --quiet --no-trunc",
       "printf '" + idB + "\\n" + idA + "\\n" + idB + "\\n" + idC + "\\n'"},
      {"inspect --format {{.Image}} web halted", "printf 'sha256:0\\n" + idC + "\\n'"},
      {"inspect --format {{.Size}} " + idA + " " + idB, R"(printf '1000\n200\n')"},
      {"inspect --format {{.Size}} " + idA + " " + idB + " " + idC, R"(printf '1000\n200\n50\n')"},
      {"volume ls --format {{.Name}}", R"(printf 'db\nstopped-data\nold\n')"},
      {"ps -a --format {{.Names}}", R"(printf 'web,other/db\nhalted\n')"},
      {"inspect --format {{range .Mounts}}{{.Name}} {{end}} web halted", R"(printf 'db  \nstopped-data \n')"},
      {"system df -v --format {{range .Volumes}}{{.Name}}\t{{.Size}}{{println}}{{end}}",
       R"(printf 'old\t12.5kB\ndb\t1B\n')"},
  };
}

/// Replaces the output for arguments with this prefix.
Answers changed(const std::string& start, const std::string& action) {
  Answers answers = busyEngine();
  for (auto& [arguments, does] : answers) {
    if (arguments.starts_with(start)) does = action;
  }
  return answers;
}

class Docker : public testing::Test {
 protected:
  ProbeReport ask(const Answers& answers) const {
    return DockerArtifactProbe(fixture.tool("docker", answers)).scan(fixture.context);
  }
  std::vector<std::string> found(const Answers& answers) const { return fixture.lines(ask(answers)); }

  ProbeFixture fixture;
};

const std::string cache = "docker:prune:buildcache | Docker build cache | 1500000000";
const std::string dangling = "docker:prune:dangling | Docker dangling images (2) | 1200";
const std::string danglingAll = "docker:prune:dangling | Docker dangling images (3) | 1250";
const std::string old = "docker:volume:old | Docker volume: old | 12500";

TEST_F(Docker, FindsBuildCacheDanglingImagesAndVolumesThatNoContainerMounts) {
  const ProbeReport report = ask(busyEngine());
  EXPECT_THAT(fixture.lines(report), ElementsAre(cache, dangling, old));
  EXPECT_THAT(report.notes, IsEmpty());
  ASSERT_EQ(report.items.size(), 3U);
  const ScanArtifactFinding& volume = report.items[2].finding;
  EXPECT_EQ(volume.ecosystemTag, "general");
  EXPECT_EQ(volume.groupRoot, "__tidra:system:docker__");
  EXPECT_EQ(volume.source, ArtifactSource::dockerCLI);
  EXPECT_EQ(volume.safetyTier, ArtifactSafetyTier::warning);
  EXPECT_EQ(volume.restoreHint, "Volumes may contain database data — not recoverable");
  EXPECT_EQ(volume.lastActivityDate, std::nullopt);
  EXPECT_EQ(volume.ruleID, "docker-unused-volume");
  EXPECT_EQ(report.items[0].finding.ruleID, "docker-build-cache");
  EXPECT_EQ(report.items[0].finding.restoreHint, "Rebuilds recreate build cache");
  EXPECT_EQ(report.items[1].finding.ruleID, "docker-dangling-images");
  EXPECT_EQ(report.items[1].finding.restoreHint, "docker pull re-downloads images as needed");
}

TEST_F(Docker, EachFailedAnswerCostsOnlyItsOwnFindings) {
  const std::string noSizes = "docker:prune:dangling | Docker dangling images (2) | 0";
  const std::string noSize = "docker:volume:old | Docker volume: old | 0";
  EXPECT_THAT(found(changed("system df --format", "exit 1")), ElementsAre(dangling, old));
  EXPECT_THAT(found(changed("system df --format", R"(printf 'Build Cache\t0B\n')")), ElementsAre(dangling, old));
  EXPECT_THAT(found(changed("system df --format", R"(printf 'Build Cache\tmuch\nBuild Cache 4GB\n')")),
              ElementsAre(dangling, old));
  EXPECT_THAT(found(changed("images", "exit 1")), ElementsAre(cache, old));
  EXPECT_THAT(found(changed("images", "echo " + idC)), ElementsAre(cache, old)) << "pruning would leave it";
  EXPECT_THAT(found(changed("inspect --format {{.Image}}", "exit 1")), ElementsAre(cache, danglingAll, old));
  EXPECT_THAT(found(changed("images", "exit 0")), ElementsAre(cache, old));
  EXPECT_THAT(found(changed("inspect --format {{.Size}}", "exit 1")), ElementsAre(cache, noSizes, old));
  EXPECT_THAT(found(changed("system df -v", "exit 1")), ElementsAre(cache, dangling, noSize));
  EXPECT_THAT(found(changed("system df -v", R"(printf 'old\tN/A\nold\n')")), ElementsAre(cache, dangling, noSize));
  EXPECT_THAT(found(changed("volume ls", "exit 1")), ElementsAre(cache, dangling));
}

TEST_F(Docker, NoVolumeIsTakenForUnusedUnlessEveryContainerWasAsked) {
  EXPECT_THAT(found(changed("ps -a", "exit 1")), ElementsAre(cache, danglingAll));
  EXPECT_THAT(found(changed("inspect --format {{range", "exit 1")), ElementsAre(cache, dangling));
  for (const char* names : {"--help", "web\\nha lted", "web\\n\\001", "web\\n;reboot", "web\\n$(reboot)"}) {
    EXPECT_THAT(found(changed("ps -a", std::string("printf '") + names + "\\n'")), ElementsAre(cache, danglingAll))
        << names;
  }
  // Without containers every volume is unused.
  EXPECT_THAT(found(changed("ps -a", "exit 0")), SizeIs(5));
}

TEST_F(Docker, HostileNamesReachNoCommandAndNoFinding) {
  const std::string names =
      R"x(printf '%s\n' -f --all 'a b' '$(reboot)' 'a;b' '`id`' 'a|b' "$(printf 'e\033[31m')" 'x>y' .hidden a/b ../c '')x";
  EXPECT_THAT(found(changed("volume ls", names)), ElementsAre(cache, dangling));
  EXPECT_THAT(found(changed("images", names + "; printf '%s\\n' short deadbeefcafeX sha256: -" + idA)),
              ElementsAre(cache, old));
  for (const std::string& call : fixture.calls()) {
    if (call.find("inspect") == std::string::npos) continue;
    EXPECT_THAT(call, testing::AnyOf(HasSubstr("[" + idA + "][" + idB + "]"), HasSubstr("[web][halted]"))) << call;
  }
}

TEST_F(Docker, AStoppedDaemonOrUselessAnswersGiveNothing) {
  for (const char* info : {"echo 'Cannot connect to the Docker daemon' >&2; exit 1", "exit 0"}) {
    const ProbeReport report = ask(changed("info", info));
    EXPECT_THAT(report.items, IsEmpty());
    EXPECT_THAT(report.notes, ElementsAre("Docker is installed but its daemon did not answer."));
  }
  for (const std::string& body : uselessScripts) {
    const DockerArtifactProbe probe(fixture.script("docker", body));
    EXPECT_THAT(fixture.lines(probe.scan(fixture.context)), IsEmpty()) << body;
  }
  EXPECT_THAT(ask(changed("volume ls", fixture.hang())).items, SizeIs(2)) << "cancelled while listing volumes";
}

TEST_F(Docker, SizesThatNoMachineHoldsAreUnknown) {
  for (const char* sizes : {"yes 9000PB | head -n 50", "yes 1PB | head -n 20000", "echo 99999999999999999999"}) {
    EXPECT_THAT(found(changed("inspect --format {{.Size}}", sizes)),
                ElementsAre(cache, "docker:prune:dangling | Docker dangling images (2) | 0", old))
        << sizes;
  }
  EXPECT_THAT(found(changed("system df --format", R"(printf 'Build Cache\t2PB\n')")), ElementsAre(dangling, old));
  EXPECT_THAT(found(changed("system df -v", R"(printf 'old\t2PB\n')")),
              ElementsAre(cache, dangling, "docker:volume:old | Docker volume: old | 0"));
}

TEST_F(Docker, QuestionsThatFailedAreNotedOnce) {
  Answers answers = changed("images", "exit 1");
  answers[6].second = "exit 1";
  EXPECT_THAT(ask(answers).notes, ElementsAre("docker did not answer: images, volume ls."));
}

TEST_F(Docker, TheUserKeepsAVolumeOut) {
  fixture.context.exclusionFilter.addPattern("docker:volume:o*");
  EXPECT_THAT(found(busyEngine()), ElementsAre(cache, dangling));
}

TEST(DockerSize, IsReadInTheUnitsOfTheEngine) {
  for (const auto& [text, bytes] : rowsOf("0B => 0 | 12 => 12 | 512kB => 512000 | 512KB => 512000 | 0.0004kB => 0 | "
                                          "1.5GB => 1500000000 | 1.5 GB => 1500000000 | 2.345MB => 2345000 | "
                                          "1TB => 1000000000000 | 1MiB => 1048576 | 1.5GiB => 1610612736"))
    EXPECT_EQ(DockerArtifactProbe::parseSize(text), std::stoull(bytes)) << text;
  for (const char* text : {"", "B", ".5GB", "1.2.3GB", "-1B", "+1B", "1e3B", "0x10", "nan", "inf", "N/A", "1XB",
                           "1,5GB", "1GB (50%)", "99999999999999999999PB"})
    EXPECT_EQ(DockerArtifactProbe::parseSize(text), std::nullopt) << text;
}

}  // namespace
}  // namespace tidra
