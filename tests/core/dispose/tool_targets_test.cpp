// What tools remove: commands, their output, and how long they may take.
#include <chrono>
#include <iterator>
#include <sstream>
#include <thread>

#include "core/dispose/deletion_service.h"
#include "core/dispose/tool_figures.h"
#include "tests/core/dispose/disposal_fixture.h"
#include "tests/support/matchers.h"
#include "tests/support/message_of.h"

namespace tidra {
namespace {

/// With fake tools in "bin", the only folder of PATH.
class ToolTargetsTest : public DisposalTest {
 protected:
  ToolTargetsTest() {
    resolver_.environment["PATH"] = tree_.makeFolder("bin");
    tools_.findEngine = [this](const Environment&) {
      const std::string engine = tree_.path("bin/docker");
      return isExecutableFile(engine) ? std::optional(engine) : std::nullopt;
    };
  }

  std::string fake(const std::string& path, const std::string& body) const { return tree_.writeProgram(path, body); }
  std::string says(const std::string& target, bool dryRun = false) const {
    return refusal(target, DisposalMethod::trash, dryRun);
  }
  std::string calls() const { return tree_.read("calls"); }
};

TEST_F(ToolTargetsTest, CondaTargetsRunTheCommandThatRemovesThem) {
  fake("bin/conda", "echo \"$*\" >> " + tree_.path("calls"));
  for (const auto& [target, call] : TextPairs{{"conda:clean:packages", "clean --packages -y"},
                                              {"conda:clean:tarballs", "clean --tarballs -y"},
                                              {"conda:clean:index-cache", "clean --index-cache -y"},
                                              {"conda:env:my env", "env remove -n my env -y"}}) {
    EXPECT_EQ(disposed(target, DisposalMethod::trash, true).method, DisposalMethod::delete_);
    EXPECT_EQ(calls(), "") << "a dry run runs nothing";
    EXPECT_EQ(disposed(target, DisposalMethod::trash), (DisposalReceipt{target, DisposalMethod::delete_, {}, {}, now}));
    EXPECT_EQ(calls(), call + "\n");
    tree_.writeFile("calls");
  }
  for (const std::string unknown :
       {"conda:", "conda:clean:everything", "conda:env:", "conda:env:-n", "conda:env:--all"})
    EXPECT_EQ(says(unknown, true), "Unknown Conda target") << unknown;
  EXPECT_EQ(calls(), "");
  fake("bin/conda", "exit 1");
  EXPECT_EQ(says("conda:clean:packages"), "Command failed (exit 1)");
}

TEST_F(ToolTargetsTest, DockerTargetsRunTheirCommandAndUnknownOnesNothing) {
  for (const bool dryRun : {true, false}) EXPECT_EQ(says("docker:prune:dangling", dryRun), "Docker not found");
  fake("bin/docker", "echo \"$*\" >> " + tree_.path("calls"));
  for (const auto& [target, call] : TextPairs{{"docker:prune:dangling", "image prune -f"},
                                              {"docker:prune:buildcache", "builder prune -f"},
                                              {"docker:volume:data", "volume rm data"}}) {
    disposed(target, DisposalMethod::trash, true);
    disposed(target, DisposalMethod::trash);
    EXPECT_EQ(calls(), call + "\n");
    tree_.writeFile("calls");
  }
  for (const std::string unknown : {"docker:", "docker:volume:", "docker:volume:-f", "docker:prune:all", "docker:x"})
    for (const bool dryRun : {true, false}) EXPECT_EQ(says(unknown, dryRun), "Unknown Docker target") << unknown;
  EXPECT_EQ(calls(), "");
  fake("bin/docker", "exit 1");
  EXPECT_EQ(says("docker:prune:dangling"), "Command failed (exit 1)");
}

TEST(ToolFigures, AreWhatTheToolSaysItReclaimed) {
  struct Case {
    const char* target;
    const char* output;
    std::optional<std::int64_t> bytes;
  };
  for (const Case& c : std::vector<Case>{
           {"docker:prune:buildcache", "Deleted build cache objects:\nx1\n\nTotal reclaimed space: 1.2GB", 1200000000},
           {"docker:prune:dangling", "Total reclaimed space: 0B", 0},
           {"docker:prune:buildcache", "ID  RECLAIMABLE  SIZE\nx1  true  2MB\nTotal:\t512kB", 512000},
           {"docker:prune:buildcache", "Total reclaimed space: 9000PB", {}},
           {"docker:prune:buildcache", "Total reclaimed space: much", {}},
           {"docker:volume:data", "Total reclaimed space: 1MB", {}},
           {"conda:clean:packages", "Will remove 77 (1.5 GB) package(s).", 1610612736},
           {"conda:clean:tarballs", "a.tar.bz2  1.1 MB\n----\nTotal:   222.0 MB\n\nRemoved a.tar.bz2", 232783872},
           {"conda:clean:tarballs", "Will remove 1 (244 KB) tarball(s).", 249856},
           {"conda:clean:tarballs", "Will remove 1 (12 B) tarball(s).", 12},
           {"conda:clean:packages", "There are no unused package(s) to remove.", 0},
           {"conda:clean:index-cache", "Will remove 1 index cache(s).", {}},
           {"conda:env:ml", "Total: 5 MB", {}},
           {"pip:orphan:/v", "Files removed: 364 (45.6 MB)\nDirectories removed: 3", 45600000},
           {"pip:orphan:/v", "Files removed: 2 (12 bytes)", 12},
           {"pip:orphan:/v", "Files removed: 364", {}},
           {"pip:orphan:/v", "Files removed: 0", 0},
           {"pip:orphan:/v", "(\n)(\n(((", {}},
           {"docker:prune:dangling", "", {}},
       }) {
    EXPECT_EQ(reclaimedBytes(c.target, c.output), c.bytes) << c.target << ": " << c.output;
  }
}

TEST_F(ToolTargetsTest, AToolThatHangsIsKilledWhenTimeIsUpOrTheUserCancels) {
  // The tool writes its own process id and that of a child, which survives unless the whole process group is killed.
  const std::string hanging = "sleep 600 & echo $$ $! > " + tree_.path("numbers") + "; wait";
  const auto lives = [](pid_t number) {
    const auto stat = readFile("/proc/" + std::to_string(number) + "/stat");
    return stat && stat->find(") Z ") == std::string::npos;
  };
  const auto allEnd = [&] {
    std::istringstream numbers(*readFile(tree_.path("numbers")));
    std::vector<pid_t> left{std::istream_iterator<pid_t>(numbers), {}};
    for (int i = 0; i < 500 && !left.empty(); ++i) {
      std::erase_if(left, [&](pid_t number) { return !lives(number); });
      if (!left.empty()) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return left.empty();
  };
  for (const auto& [tool, target] : TextPairs{{"docker", "docker:volume:data"}, {"conda", "conda:clean:packages"}}) {
    fake("bin/" + tool, hanging);
    tools_.timeoutSeconds = 0.3;
    EXPECT_EQ(says(target), "Command could not be started or timed out");
    EXPECT_TRUE(allEnd()) << tool;
    std::filesystem::remove(tree_.path("numbers"));
    tools_.timeoutSeconds = ToolTargets().timeoutSeconds;
    shouldCancel_ = [this] {
      const auto numbers = readFile(tree_.path("numbers"));
      return numbers && !numbers->empty();
    };
    EXPECT_EQ(says(target), "was interrupted; its tool was stopped");
    EXPECT_TRUE(allEnd()) << tool;
    shouldCancel_ = {};
    std::filesystem::remove(tree_.path("numbers"));
  }
}

TEST_F(ToolTargetsTest, PipOfAnEnvironmentRunsOnlyWhenItWasMadeThere) {
  const std::string venv = tree_.makeFolder("home/p/.venv");
  const std::string target = "pip:orphan:" + venv;
  const std::string pip = "home/p/.venv/bin/pip";
  EXPECT_EQ(says(target, true), "pip not found in venv");
  EXPECT_EQ(says("pip:orphan:"), "pip not found in venv");
  EXPECT_EQ(says("pip:orphan:home/p/.venv"), "pip not found in venv");
  fake(pip, "# " + venv + "/bin/python");
  EXPECT_THAT(says(target, true), StartsWith("pip of this venv is not run"));
  // A shell stands in for the environment's interpreter.
  tree_.symlink("home/p/.venv/bin/python", "/bin/sh");
  tree_.writeFile(pip, "#!" + venv + "/bin/python\necho \"$0 $*\" >> " + tree_.path("calls") + "\n", 0755);
  disposed(target, DisposalMethod::trash, true);
  EXPECT_EQ(calls(), "");
  disposed(target, DisposalMethod::trash);
  EXPECT_EQ(calls(), venv + "/bin/pip cache purge\n");
  tree_.setMode(pip, 0777);
  EXPECT_THAT(says(target), StartsWith("pip of this venv is not run"));
}

}  // namespace
}  // namespace tidra
