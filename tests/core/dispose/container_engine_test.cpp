// Against a real container engine, started on a socket in a temporary folder. Skipped without root or without the
// engine's programs.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <thread>

#include "core/rules/rule_catalog.h"
#include "core/scan/probes/docker_probe.h"
#include "tests/core/dispose/disposal_fixture.h"
#include "tests/support/matchers.h"
#include "tests/support/temporary_mount.h"

namespace tidra {
namespace {

/// "dockerd" without network, in its own mount namespace with own "/etc" and "/run": it neither reads the machine's
/// settings nor leaves anything outside the folder.
class EngineProcess {
 public:
  EngineProcess(const std::string& program, const std::string& folder) {
    process_ = ::fork();
    if (process_ != 0) return;
    ::setpgid(0, 0);
    if (std::freopen((folder + "/log").c_str(), "w", stderr) == nullptr) ::_exit(1);
    const auto settings = TemporaryMount::bind(folder + "/etc", "/etc");
    const TemporaryMount run("/run");
    if (!settings || !run) ::_exit(1);
    Texts arguments = wordsOf(program + " --iptables=false --ip6tables=false --bridge=none --storage-driver=vfs");
    for (const auto& [option, place] :
         rowsOf("--data-root= => /data | --exec-root= => /exec | --pidfile= => /pid | --host=unix:// => /socket"))
      arguments.push_back(option + folder + place);
    std::vector<char*> list;
    for (const std::string& argument : arguments) list.push_back(const_cast<char*>(argument.c_str()));
    list.push_back(nullptr);
    ::execv(program.c_str(), list.data());
    ::_exit(1);
  }
  ~EngineProcess() {
    ::kill(process_, SIGTERM);
    for (int i = 0; i < 300 && !hasEnded(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(100));
    ::kill(-process_, SIGKILL);
    if (!ended_) ::waitpid(process_, nullptr, 0);
  }
  EngineProcess(const EngineProcess&) = delete;
  EngineProcess& operator=(const EngineProcess&) = delete;

  bool hasEnded() { return ended_ = ended_ || ::waitpid(process_, nullptr, WNOHANG) == process_; }

 private:
  pid_t process_ = 0;
  bool ended_ = false;
};

class RealEngine : public DisposalTest {
 protected:
  void SetUp() override {
    const Environment usual{{"PATH", "/usr/sbin:/usr/bin:/sbin:/bin"}};
    const auto daemon = ProcessRunner::which("dockerd", usual);
    // The distribution's client can build without a plug-in on the distribution's engine.
    client_ = ProcessRunner::which("docker", usual);
    if (::geteuid() != 0 || !daemon || !client_) GTEST_SKIP() << "there is no engine that could be started";
    resolver_.environment["PATH"] = usual.at("PATH");
    resolver_.environment["HOME"] = resolver_.home;
    resolver_.environment["DOCKER_HOST"] = "unix://" + tree_.path("engine/socket");
    tools_.findEngine = [this](const Environment&) { return client_; };
    tree_.makeFolder("engine/etc");
    engine_.emplace(*daemon, tree_.path("engine"));
    for (int i = 0; i < 600 && !engine_->hasEnded(); ++i) {
      if (docker({"info"})) return;
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    GTEST_SKIP() << "the engine does not start here: " << *readFile(tree_.path("engine/log"));
  }

  /// The client's output; none when it fails.
  std::optional<std::string> docker(Texts arguments, const char* buildKit = "0") const {
    Environment environment = resolver_.environment;
    environment["DOCKER_BUILDKIT"] = buildKit;
    const auto result = ProcessRunner::run({.executablePath = *client_,
                                            .arguments = std::move(arguments),
                                            .currentDirectory = tree_.root(),
                                            .environment = std::move(environment),
                                            .timeoutSeconds = 60});
    return result && result->status == 0 ? std::optional(result->stdout_) : std::nullopt;
  }
  /// Builds an image "held" with one layer of random content.
  bool build(std::uint64_t bytes, const char* buildKit = "0") const {
    tree_.writeFile("context/Dockerfile", "FROM scratch\nCOPY f /f\n");
    tree_.writeFileOfSize("context/f", bytes);
    return docker({"build", "-q", "-t", "held", "context"}, buildKit).has_value();
  }
  /// The findings by target.
  std::map<std::string, ScanArtifactFinding> found() const {
    RuleCatalog catalog;
    SystemProbeContext context;
    context.resolver = resolver_;
    context.catalog = &catalog;
    context.now = now;
    const auto report = DockerArtifactProbe(client_).scan(context);
    EXPECT_THAT(report.notes, IsEmpty());
    std::map<std::string, ScanArtifactFinding> findings;
    for (const auto& item : report.items) findings.emplace(item.finding.path, item.finding);
    return findings;
  }
  /// The bytes that the tool reports for a target; the item must be gone.
  std::optional<std::int64_t> reclaimed(const std::string& target) const {
    const auto result = dispose(target, DisposalMethod::trash);
    const auto* disposed = std::get_if<TidraDeletionService::Disposed>(&result);
    EXPECT_NE(disposed, nullptr) << refusal(target, DisposalMethod::trash);
    return disposed == nullptr ? std::nullopt : disposed->reclaimed;
  }

  std::optional<std::string> client_;
  std::optional<EngineProcess> engine_;
};

TEST_F(RealEngine, ImagesAndVolumesInUseAreNoFindingsAndTheOthersGo) {
  ASSERT_TRUE(build(3000000));
  ASSERT_TRUE(docker({"create", "--network", "none", "-v", "used:/used", "-v", "/anonymous", "held", "/x"}));
  ASSERT_TRUE(build(2000000));
  EXPECT_THAT(found(), IsEmpty()) << "what the stopped container needs is dangling by name only";

  ASSERT_TRUE(build(1000000));
  for (const char* volume : {"data", "spare"}) ASSERT_TRUE(docker({"volume", "create", volume}));
  const auto anonymous = docker({"volume", "create"});
  tree_.writeFileOfSize("engine/data/volumes/data/_data/f", 5000000);
  auto findings = found();
  ASSERT_THAT(findings, SizeIs(4));
  EXPECT_EQ(findings.at("docker:prune:dangling").label, "Docker dangling images (1)");
  EXPECT_EQ(findings.at("docker:prune:dangling").sizeBytes, 2000000U);
  EXPECT_EQ(findings.at("docker:volume:data").sizeBytes, 5000000U);
  for (const std::string& volume : {std::string("data"), *anonymous})
    EXPECT_EQ(findings.at("docker:volume:" + volume).safetyTier, ArtifactSafetyTier::warning) << volume;

  EXPECT_EQ(reclaimed("docker:prune:dangling"), 2000000);
  EXPECT_EQ(reclaimed("docker:volume:data"), std::nullopt) << "the engine does not say";
  EXPECT_EQ(refusal("docker:volume:used", DisposalMethod::trash), "Command failed (exit 1)");
  EXPECT_EQ(found().size(), 2U);
  EXPECT_THAT(namesIn(tree_.path("engine/data/volumes")), testing::IsSupersetOf(Texts{"used", "spare", *anonymous}));
}

TEST_F(RealEngine, WhatPruningTheBuildCacheReclaimsIsWhatTheEngineSays) {
  if (!build(3000000, "1") || !build(2000000, "1")) GTEST_SKIP() << "this client builds without a cache";
  const auto before = found().at("docker:prune:buildcache").sizeBytes;
  EXPECT_GE(before, 2000000U);
  EXPECT_EQ(reclaimed("docker:prune:dangling"), 0) << "the cache still holds the layer";
  EXPECT_GE(reclaimed("docker:prune:buildcache"), 5000000);
  EXPECT_FALSE(found().contains("docker:prune:buildcache"));
}

}  // namespace
}  // namespace tidra
