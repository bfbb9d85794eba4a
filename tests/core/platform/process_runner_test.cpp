#include "core/platform/process_runner.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <thread>

#include "core/platform/file_descriptor.h"
#include "tests/support/temporary_tree.h"

namespace tidra {
namespace {

using Result = ProcessRunner::Result;

/// Far more than any command needs; bounds a test when the runner hangs.
constexpr double generousSeconds = 60;

ProcessRunner::Command shell(std::string script, std::vector<std::string> arguments = {}) {
  std::vector<std::string> all{"-c", std::move(script)};
  all.insert(all.end(), arguments.begin(), arguments.end());
  return {.executablePath = "/bin/sh", .arguments = std::move(all), .timeoutSeconds = generousSeconds};
}

/// True when this process has no child left, zombies included.
bool hasNoChildren() { return ::waitpid(-1, nullptr, WNOHANG) == -1 && errno == ECHILD; }

TEST(ProcessRunner, ReturnsStatusAndBothOutputsTrimmed) {
  EXPECT_EQ(ProcessRunner::run(shell("printf ' \\n out \\377 put\\t\\n'; echo ' err' >&2; exit 3")),
            (Result{3, "out \xFF put", "err"}));
  EXPECT_EQ(ProcessRunner::run(shell("exit 255")), (Result{255, "", ""}));
  EXPECT_EQ(ProcessRunner::run(shell("echo first; kill -9 $$")), (Result{128 + 9, "first", ""}));
  EXPECT_EQ(ProcessRunner::run(shell("kill -PIPE $$")), (Result{128 + SIGPIPE, "", ""}));
  // Arguments arrive unchanged, and the input is empty.
  EXPECT_EQ(ProcessRunner::run(shell("printf '<%s>' \"$0\" \"$@\"; cat", {"a b", "", "$HOME;*", "line\nbreak", "'"})),
            (Result{0, "<a b><><$HOME;*><line\nbreak><'>", ""}));
  EXPECT_TRUE(hasNoChildren());
}

TEST(ProcessRunner, OutputLargerThanAPipeOnBothAtOnce) {
  const auto result = ProcessRunner::run(shell(
      "big() { head -c 300000 /dev/zero | tr '\\0' \"$1\"; }; big e >&2; big o; big f >&2; big p & big g >&2; wait"));
  ASSERT_TRUE(result);
  EXPECT_EQ(result->stdout_, std::string(300000, 'o') + std::string(300000, 'p'));
  EXPECT_EQ(result->stderr_, std::string(300000, 'e') + std::string(300000, 'f') + std::string(300000, 'g'));
}

TEST(ProcessRunner, MoreThanTheOutputLimitIsNoResult) {
  const auto writing = [](std::size_t bytes) { return shell("head -c " + std::to_string(bytes) + " /dev/zero"); };
  const auto most = ProcessRunner::run(writing(ProcessRunner::outputLimitBytes));
  ASSERT_TRUE(most);
  EXPECT_EQ(most->stdout_.size(), ProcessRunner::outputLimitBytes);
  // Output beyond the limit may fit the pipe buffer, so that the command ends by itself.
  EXPECT_EQ(ProcessRunner::run(writing(ProcessRunner::outputLimitBytes + 1)), std::nullopt);
  EXPECT_EQ(ProcessRunner::run(shell("exec cat /dev/zero >&2")), std::nullopt);
  EXPECT_TRUE(hasNoChildren());
}

TEST(ProcessRunner, ACommandGetsNoMoreMemoryThanItMayHave) {
#ifndef __linux__
  GTEST_SKIP() << "only Linux limits what others allocate";
#endif
  auto command =
      shell("until [ $(ulimit -d) = 65536 ]; do :; done; head -c 200000000 /dev/zero | tail -c 190000000 | wc -c");
  command.dataLimitBytes = std::uint64_t{64} << 20U;
  const auto result = ProcessRunner::run(command);
  ASSERT_TRUE(result);
  EXPECT_EQ(result->stdout_, "0") << result->stderr_;
}

TEST(ProcessRunner, WhatCannotBeStartedIsNoResult) {
  const TemporaryTree tree;
  tree.writeFile("plain", "#!/bin/sh\n");
  tree.writeProgram("tool", "");
  tree.writeFile("script", "#!" + tree.path("missing") + "\n", 0755);
  const auto run = [&](const std::string& executable, const std::string& folder) {
    return ProcessRunner::run(
        {.executablePath = executable, .currentDirectory = folder, .timeoutSeconds = generousSeconds});
  };
  EXPECT_EQ(run(tree.path("tool"), tree.root()), (Result{0, "", ""}));
  EXPECT_EQ(run(tree.path("tool"), tree.path("missing")), std::nullopt);
  // Relative paths are refused even if they lead to a program.
  for (const std::string& path : {tree.path("missing"), tree.path("plain"), tree.path("script"), tree.root(),
                                  std::string("tool"), std::string("./tool"), std::string()})
    EXPECT_EQ(run(path, tree.root()), std::nullopt) << path;
}

TEST(ProcessRunner, RunsInTheGivenFolderAndEnvironment) {
  const TemporaryTree tree;
  auto command = shell("pwd -P; echo \"$ONLY ${HOME-unset} ${PATH:+set}\"");
  command.currentDirectory = tree.makeFolder("odd $name\n");
  command.environment = Environment{{"ONLY", "this one"}};
  const auto result = ProcessRunner::run(command);
  ASSERT_TRUE(result);
  // A shell may set its own PATH, but inherits none.
  EXPECT_EQ(result->stdout_.substr(0, result->stdout_.rfind(" unset")), tree.path("odd $name\n") + "\nthis one");

  ::setenv("TIDRA_TEST_INHERITED", "yes", 1);
  EXPECT_EQ(ProcessRunner::run(shell("echo $TIDRA_TEST_INHERITED")), (Result{0, "yes", ""}));
  ::unsetenv("TIDRA_TEST_INHERITED");
}

TEST(ProcessRunner, TheChildGetsNoDescriptorOrSignalSettingOfOurs) {
  // Opened without O_CLOEXEC, as a careless library would.
  const FileDescriptor careless(::open("/dev/null", O_RDONLY));
  const FileDescriptor high(::fcntl(careless.get(), F_DUPFD, 200));
  const auto result = ProcessRunner::run(shell("exec ls /dev/fd/"));
  ASSERT_TRUE(result);
  EXPECT_EQ(result->stdout_, "0\n1\n2\n3");  // 3 is the listing itself

  const auto before = ::signal(SIGTERM, SIG_IGN);
  EXPECT_EQ(ProcessRunner::run(shell("kill -TERM $$; echo survived")), (Result{128 + SIGTERM, "", ""}));
  ::signal(SIGTERM, before);
}

TEST(ProcessRunner, AnInheritedIgnoredChildSignalLosesNoStatus) {
  ::signal(SIGCHLD, SIG_IGN);
  EXPECT_EQ(ProcessRunner::run(shell("echo out; exit 5")), (Result{5, "out", ""}));
  ::signal(SIGCHLD, SIG_DFL);
}

/// A FIFO that shows when the last process with its writing end is gone.
class Lifeline {
 public:
  explicit Lifeline(const TemporaryTree& tree) : path_(tree.path("lifeline")) {
    EXPECT_EQ(::mkfifo(path_.c_str(), 0600), 0);
    reader_ = FileDescriptor(::open(path_.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  }

  const std::string& path() const { return path_; }

  /// True once a holder has written a byte.
  bool wasTaken() {
    char byte = 0;
    taken_ = taken_ || ::read(reader_.get(), &byte, 1) == 1;
    return taken_;
  }

  /// Waits until no process holds it, with a generous limit.
  bool isReleased() {
    for (pollfd watched{reader_.get(), POLLIN, 0}; ::poll(&watched, 1, 30'000) == 1;) {
      std::array<char, 64> bytes;
      if (::read(reader_.get(), bytes.data(), bytes.size()) == 0) return true;
    }
    return false;
  }

 private:
  std::string path_;
  FileDescriptor reader_;
  bool taken_ = false;
};

/// Starts a grandchild that ignores SIGTERM and would write a file if left alone; then sleeps.
constexpr const char* stubbornGroup =
    "trap '' TERM; (exec 3>\"$0\"; printf x >&3; sleep 600; : > \"$1\") & while :; do sleep 600; done";

TEST(ProcessRunner, CancellingEndsTheWholeGroup) {
  const TemporaryTree tree;
  Lifeline lifeline(tree);
  auto command = shell(stubbornGroup, {lifeline.path(), tree.path("written late")});
  command.shouldCancel = [&] { return lifeline.wasTaken(); };
  EXPECT_EQ(ProcessRunner::run(command), std::nullopt);
  EXPECT_TRUE(lifeline.wasTaken());
  EXPECT_TRUE(lifeline.isReleased());
  EXPECT_NE(::access(tree.path("written late").c_str(), F_OK), 0);
  EXPECT_TRUE(hasNoChildren());
}

TEST(ProcessRunner, ASignalHandlerCanEndWhatRuns) {
  const TemporaryTree tree;
  Lifeline lifeline(tree);
  auto command = shell("exec 3>\"$0\"; printf x >&3; sleep 600", {lifeline.path()});
  command.shouldCancel = [&] {
    if (lifeline.wasTaken()) ProcessRunner::endRunning();
    return false;
  };
  EXPECT_EQ(ProcessRunner::run(command), (Result{128 + SIGTERM, "", ""}));
  EXPECT_TRUE(lifeline.isReleased());
}

TEST(ProcessRunner, TheTimeOutEndsTheWholeGroup) {
  const TemporaryTree tree;
  Lifeline lifeline(tree);
  auto command = shell(stubbornGroup, {lifeline.path(), tree.path("written late")});
  // However far the script got, nothing of it may be left.
  for (const double seconds : {0.0, 0.5}) {
    command.timeoutSeconds = seconds;
    EXPECT_EQ(ProcessRunner::run(command), std::nullopt);
    if (lifeline.wasTaken()) {
      EXPECT_TRUE(lifeline.isReleased());
    }
    EXPECT_TRUE(hasNoChildren());
  }
  EXPECT_NE(::access(tree.path("written late").c_str(), F_OK), 0);
}

TEST(ProcessRunner, AnHeirOfThePipesCannotHoldARunForEver) {
  const TemporaryTree tree;
  Lifeline lifeline(tree);
  // The command exits at once; its background process keeps both pipes open until the test releases it.
  const auto result = ProcessRunner::run(shell("echo done; (read -r line < \"$0\") & exit 4", {lifeline.path()}));
  EXPECT_EQ(result, (Result{4, "done", ""}));
  const FileDescriptor writer(::open(lifeline.path().c_str(), O_WRONLY | O_CLOEXEC));
  EXPECT_EQ(::write(writer.get(), "\n", 1), 1);
}

TEST(ProcessRunner, WhatAnHeirOfThePipesWritesSoonIsRead) {
  EXPECT_EQ(ProcessRunner::run(shell("echo done; (sleep 0.5; echo late) & exit 4")), (Result{4, "done\nlate", ""}));
}

TEST(ProcessRunner, ManyRunsAtOnceKeepTheirOutputsApart) {
  std::vector<std::thread> threads;
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([t] {
      for (int i = 0; i < 12; ++i) {
        const std::string name = std::to_string(t) + "-" + std::to_string(i);
        const auto result =
            ProcessRunner::run(shell("echo out $0; echo err $0 >&2; exit $1", {name, std::to_string(t)}));
        EXPECT_EQ(result, (Result{t, "out " + name, "err " + name}));
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_TRUE(hasNoChildren());
}

TEST(Which, TakesTheFirstExecutableOfPathAndPassesOverUnsafeFolders) {
  const TemporaryTree tree;
  const std::string tool = "tidra-test-tool";
  for (const char* folder : {"plain", "open", "first", "second"}) tree.writeFile(folder + ("/" + tool));
  for (const char* folder : {"open", "first", "second"}) tree.setMode(folder + ("/" + tool), 0755);
  tree.setMode("open", 0777);
  tree.symlink("link to open", "open");
  tree.makeFolder("folder/" + tool);
  std::string path = ":relative:" + tree.path("missing");
  for (const char* folder : {"plain", "folder", "open", "link to open"}) path += ":" + tree.path(folder);
  EXPECT_EQ(ProcessRunner::which(tool, {{"PATH", path}}), std::nullopt);
  path += "::" + tree.path("first") + "/:" + tree.path("second");
  EXPECT_EQ(ProcessRunner::which(tool, {{"PATH", path}}), tree.path("first/" + tool));

  const FileDescriptor here(::open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  ASSERT_EQ(::chdir(tree.path("first").c_str()), 0);
  EXPECT_EQ(ProcessRunner::which(tool, {{"PATH", ".:"}}), std::nullopt);
  ASSERT_EQ(::fchdir(here.get()), 0);

  // Links are resolved: the program that runs counts.
  tree.writeProgram("open/program", "");
  tree.makeFolder("links");
  tree.symlink("links/" + tool, tree.path("open/program"));
  EXPECT_EQ(ProcessRunner::which(tool, {{"PATH", tree.path("links") + ":" + path}}), tree.path("first/" + tool));
  tree.setMode("first/" + tool, 0757);
  EXPECT_EQ(ProcessRunner::which(tool, {{"PATH", path}}), tree.path("second/" + tool));
  constexpr uid_t nobody = 65534;
  if (::geteuid() == 0) {  // chown needs root
    ASSERT_EQ(::chown(tree.path("second").c_str(), nobody, nobody), 0);
    EXPECT_EQ(ProcessRunner::which(tool, {{"PATH", path}}), std::nullopt) << "the folder is somebody else's";
    ASSERT_EQ(::chown(tree.path("second").c_str(), 0, 0), 0);
  }
  // Children get the same folders.
  const std::string search = ProcessRunner::safeSearchPath({{"PATH", path}}, tree.path("links"));
  EXPECT_TRUE(search.starts_with(tree.path("links") + ":" + tree.path("plain") + ":")) << search;
  EXPECT_EQ(search.find("open"), std::string::npos) << search;

  // Without a PATH, and after all of it, come the default folders.
  for (const Environment& environment :
       {Environment{}, Environment{{"PATH", ""}}, Environment{{"PATH", tree.root()}}}) {
    const auto found = ProcessRunner::which("sh", environment);
    EXPECT_TRUE(found == "/usr/bin/sh" || found == "/bin/sh") << found.value_or("none");
  }
}

}  // namespace
}  // namespace tidra
