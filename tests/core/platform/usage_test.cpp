// Working directories and locks of other processes.
#include "core/platform/usage.h"

#include <fcntl.h>
#include <sched.h>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/inotify.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <functional>

#include "core/platform/files.h"
#include "tests/support/other_process.h"
#include "tests/support/temporary_tree.h"

namespace tidra {
namespace {

class Usage : public testing::Test {
 protected:
  const TemporaryTree tree_;
  const std::string file_ = tree_.writeFile("place/inner/lock");
};

TEST_F(Usage, ShowsWhoWorksInAFolder) {
  const OtherProcess other([&] { EXPECT_EQ(::chdir(tree_.path("place/inner").c_str()), 0); });
  const auto usage = UsageSnapshot::take();
  ASSERT_TRUE(usage.workerIn(tree_.path("place")));
  EXPECT_EQ(usage.workerIn(tree_.path("place"))->process, other.id());
  EXPECT_FALSE(usage.userOf(tree_.path("pla")));
  EXPECT_EQ(usage.userOf(tree_.path("place"))->kind, UseKind::workingFolder);
}

TEST_F(Usage, ShowsWhoHasLockedAFileHoweverTheLockWasTaken) {
  const auto open = [&] { return ::open(file_.c_str(), O_RDWR); };
  const auto lockWhole = [&](int command) {
    struct flock whole {};
    whole.l_type = F_WRLCK;
    ::fcntl(open(), command, &whole);
  };
  const auto lockInherited = [&] {  // as in shell scripts: a program locks an inherited file and exits
    const int file = open();
    const pid_t taker = ::fork();
    if (taker == 0) ::_exit(::flock(file, LOCK_EX));
    ::waitpid(taker, nullptr, 0);
  };
  const std::vector<std::function<void()>> locks{[&] { ::flock(open(), LOCK_EX); }, [&] { lockWhole(F_SETLK); },
                                                 [&] { lockWhole(F_OFD_SETLK); }, lockInherited};
  for (const auto& lock : locks) {
    const OtherProcess other(lock);
    const auto use = UsageSnapshot::take().userOf(tree_.path("place"));
    ASSERT_TRUE(use);
    EXPECT_EQ(use->kind, UseKind::lockedFile);
    EXPECT_EQ(use->process, other.id());
    EXPECT_EQ(use->path, file_);
  }
  EXPECT_FALSE(UsageSnapshot::take().userOf(tree_.path("place")));
}

/// Replaces a child process by a program (exec); returns once it runs.
void start(const std::vector<std::string>& command) {
  std::array<int, 2> untilStarted{};
  ASSERT_EQ(::pipe2(untilStarted.data(), O_CLOEXEC), 0);
  const pid_t started = ::fork();
  if (started == 0) {
    std::vector<char*> arguments;
    for (const std::string& word : command) arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    ::execv(arguments[0], arguments.data());
    ::_exit(1);
  }
  ::close(untilStarted[1]);
  char byte = 0;
  EXPECT_EQ(::read(untilStarted[0], &byte, 1), 0);
  // The arguments appear shortly after exec.
  while (readFile("/proc/" + std::to_string(started) + "/cmdline")->empty()) {
  }
}

TEST_F(Usage, ShowsWhoRunsFromAFolderOrHasFilesOfItOpenOrMapped) {
  const std::string server = tree_.path("place/inner/server");
  std::filesystem::copy_file("/bin/sleep", server);
  const std::string script = tree_.writeFile("place/inner/script", "kill -STOP $$\n");
  const std::string marked = tree_.writeFile("place/inner/x (deleted)");
  tree_.writeFile("place-2/f");
  tree_.symlink("way", "place/inner");
  tree_.symlink("place/inner/python", "/bin/sh");
  const auto map = [](const std::string& path) {
    const int file = ::open(path.c_str(), O_RDONLY);
    ::mmap(nullptr, 1, PROT_READ, MAP_PRIVATE, file, 0);
    ::close(file);
  };
  using Action = std::function<void()>;
  const auto runs = [&](std::vector<std::string> command) -> Action {
    return [this, command] {
      ::chdir(tree_.root().c_str());
      start(command);
    };
  };
  // A shell that stops, with these arguments.
  const auto stops = [&](const std::vector<std::string>& arguments) {
    std::vector<std::string> command{"/bin/sh", "-c", "kill -STOP $$"};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return runs(command);
  };
  const auto opens = [](const std::string& path) -> Action { return [path] { ::open(path.c_str(), O_RDONLY); }; };
  struct Case {
    Action act;
    std::optional<std::pair<UseKind, std::string>> seen;
  };
  const std::string python = tree_.path("place/inner/python");
  const std::vector<Case> cases{
      {runs({server, "100"}), {{UseKind::program, server}}},
      {runs({"/bin/sh", script}), {{UseKind::argument, script}}},
      {stops({"x", "--root=way/../inner/script"}), {{UseKind::argument, script}}},  // relative, through a link
      {stops({"x", "--at=file://" + script}), {{UseKind::argument, script}}},
      {stops({"-cp", "/no:" + script}), {{UseKind::argument, script}}},
      {stops({"place"}), {{UseKind::argument, tree_.path("place")}}},
      {stops({python}), {{UseKind::argument, python}}},  // what it names is outside the folder
      {[&] { map(file_); }, {{UseKind::mappedFile, file_}}},
      {opens(file_), {{UseKind::openFile, file_}}},
      {opens(marked), {{UseKind::openFile, marked}}},
      {[&] { ::inotify_add_watch(::inotify_init(), tree_.path("place/inner").c_str(), IN_ALL_EVENTS); }, {}},
      {opens(tree_.path("place-2/f")), {}},
      {stops({tree_.root()}), {}},
      {[&] {  // from here on the files are gone
         start({server, "100"});
         ::unlink(server.c_str());
       },
       {{UseKind::program, server}}},
      {[&] {
         map(file_);
         ::open(file_.c_str(), O_RDONLY);
         ::unlink(file_.c_str());
       },
       {}},
  };
  for (std::size_t i = 0; i < cases.size(); ++i) {
    const OtherProcess other(cases[i].act);
    const auto usage = UsageSnapshot::take();
    const auto use = usage.userOf(tree_.path("place"));
    ASSERT_EQ(use.has_value(), cases[i].seen.has_value()) << i << " " << (use ? use->path : "");
    if (!use) continue;
    EXPECT_EQ(std::pair(use->kind, use->path), *cases[i].seen) << i;
    EXPECT_FALSE(use->program.empty()) << i;
    const bool isWorker = use->kind == UseKind::program || use->kind == UseKind::argument;
    EXPECT_EQ(usage.workerIn(tree_.path("place")).has_value(), isWorker) << i;
  }
}

TEST_F(Usage, TakesADescriptorInAnArgumentForThatOfItsProcess) {
  constexpr int number = 200;
  for (const std::string name : {"/dev/fd/200", "/proc/self/fd/200", "/dev/./fd/200"}) {
    const OtherProcess other([&] { start({"/bin/sh", "-c", "sleep 100; :", name}); });
    const int folder = ::open(tree_.path("place").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ASSERT_EQ(::dup3(folder, number, O_CLOEXEC), number);
    EXPECT_FALSE(UsageSnapshot::take().userOf(tree_.path("place"))) << name;
    for (const int descriptor : {folder, number}) ::close(descriptor);
  }
}

TEST_F(Usage, AShellAtItsPromptDoesNotWork) {
  for (const bool isAtPrompt : {true, false}) {
    const OtherProcess other([&] {
      const int terminal = ::posix_openpt(O_RDWR | O_NOCTTY);
      ASSERT_EQ(::grantpt(terminal) | ::unlockpt(terminal), 0);
      ::dup2(::open(::ptsname(terminal), O_RDWR | O_NOCTTY), STDIN_FILENO);
      ASSERT_EQ(::chdir(tree_.path("place").c_str()), 0);
      start(isAtPrompt ? std::vector<std::string>{"/bin/sh", "-i"}
                       : std::vector<std::string>{"/bin/sh", "-ic", "read x; :"});
      ASSERT_EQ(::chdir("/"), 0);
    });
    const auto usage = UsageSnapshot::take();
    const auto use = usage.userOf(tree_.path("place"));
    ASSERT_TRUE(use);
    EXPECT_EQ(use->kind, isAtPrompt ? UseKind::promptFolder : UseKind::workingFolder);
    EXPECT_EQ(usage.workerIn(tree_.root()).has_value(), !isAtPrompt);
    EXPECT_EQ(usage.workerAt(tree_.path("place")).has_value(), !isAtPrompt);
  }
}

TEST_F(Usage, ShowsThatThisProgramRunsFromItsFolder) {
  // Other runs of it may be found first.
  EXPECT_TRUE(UsageSnapshot::take().userOf(std::filesystem::read_symlink("/proc/self/exe")));
}

TEST_F(Usage, ShowsWhoListensOnASocketInAFolder) {
  const std::string name = tree_.path("place/inner/socket");
  const OtherProcess other([&] {
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    name.copy(static_cast<char*>(address.sun_path), sizeof(address.sun_path) - 1);
    const int server = ::socket(AF_UNIX, SOCK_STREAM, 0);
    EXPECT_EQ(::bind(server, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
    EXPECT_EQ(::listen(server, 1), 0);
  });
  EXPECT_EQ(UsageSnapshot::take().userOf(tree_.path("place"))->kind, UseKind::boundSocket);
  EXPECT_EQ(UsageSnapshot::take().userOf(tree_.path("place"))->path, name);
  std::filesystem::remove(name);
  EXPECT_FALSE(UsageSnapshot::take().userOf(tree_.path("place")));
}

TEST_F(Usage, ShowsWhoSeesAFolderThroughAnotherMount) {
  const std::string server = tree_.path("place/inner/server");
  std::filesystem::copy_file("/bin/sleep", server);
  tree_.makeFolder("elsewhere");
  bool isMounted = false;
  std::array<int, 2> mounted{};
  ASSERT_EQ(::pipe2(mounted.data(), O_CLOEXEC), 0);
  const OtherProcess other([&] {
    isMounted = (::geteuid() == 0 || ::unshare(CLONE_NEWUSER) == 0) && ::unshare(CLONE_NEWNS) == 0 &&
                ::mount("", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                ::mount(tree_.path("place").c_str(), tree_.path("elsewhere").c_str(), nullptr, MS_BIND, nullptr) == 0;
    ::write(mounted[1], &isMounted, 1);
    if (isMounted) start({tree_.path("elsewhere/inner/server"), "100"});
  });
  ASSERT_EQ(::read(mounted[0], &isMounted, 1), 1);
  if (!isMounted) GTEST_SKIP() << "no mount namespaces here";
  const auto use = UsageSnapshot::take().workerIn(tree_.path("place"));
  ASSERT_TRUE(use);
  EXPECT_EQ(std::pair(use->kind, use->path), std::pair(UseKind::program, server));
}

TEST_F(Usage, LeavesOutDeletedFilesOwnGitAndWhereThePipelineWorks) {
  const std::string git = tree_.path("git");
  std::filesystem::copy_file("/bin/sleep", git);
  const pid_t group = ::getpgrp();
  std::array<int, 2> output{};  // of this process
  std::array<int, 2> next{};    // of the one that reads it
  std::array<int, 2> unrelated{};
  for (auto* ends : {&output, &next, &unrelated}) ASSERT_EQ(::pipe2(ends->data(), O_CLOEXEC), 0);
  const auto join = [&](int input, int result) {  // the group, from the folder
    std::array<int, 2> ready{};
    if (::pipe(ready.data()) != 0) return;
    if (::fork() == 0) {
      ::prctl(PR_SET_PDEATHSIG, SIGKILL);
      ::chdir(tree_.path("place/inner").c_str());
      ::setpgid(0, group);
      ::dup2(input, STDIN_FILENO);
      ::dup2(result, STDOUT_FILENO);
      ::dup2(result, STDERR_FILENO);
      ::write(ready[1], "x", 1);
      ::pause();
    }
    char byte = 0;
    ::read(ready[0], &byte, 1);
  };
  const int nothing = ::open("/dev/null", O_RDWR | O_CLOEXEC);
  struct Case {
    std::function<void()> act;
    std::optional<UseKind> seen;
    bool isWorker;
  };
  const std::vector<Case> cases{{[&] {
                                   ::flock(::open(file_.c_str(), O_RDWR), LOCK_EX);
                                   ::unlink(file_.c_str());
                                   tree_.writeFile("place/inner/lock");
                                 },
                                 {},
                                 false},
                                {[&] {
                                   tree_.makeFolder("place/gone");
                                   ::chdir(tree_.path("place/gone").c_str());
                                   ::rmdir(tree_.path("place/gone").c_str());
                                 },
                                 {},
                                 false},
                                {[&] { join(output[0], nothing); }, UseKind::pipelineFolder, false},
                                {[&] {
                                   ::dup2(output[0], STDIN_FILENO);  // the process itself, elsewhere
                                   ::dup2(next[1], STDOUT_FILENO);
                                   join(next[0], nothing);
                                 },
                                 UseKind::pipelineFolder, false},
                                {[&] { join(unrelated[0], output[1]); }, UseKind::workingFolder, true},
                                {[&] { join(nothing, unrelated[1]); }, UseKind::workingFolder, true}};
  const int formerErrors = ::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3);
  for (std::size_t i = 0; i < cases.size(); ++i) {
    const OtherProcess acting(cases[i].act);
    ::dup2(output[1], STDERR_FILENO);
    const auto usage = UsageSnapshot::take();
    ::dup2(formerErrors, STDERR_FILENO);
    const auto use = usage.userOf(tree_.path("place"));
    EXPECT_EQ(use ? std::optional(use->kind) : std::nullopt, cases[i].seen) << i;
    EXPECT_EQ(usage.workerIn(tree_.path("place")).has_value(), cases[i].isWorker) << i;
  }
  const OtherProcess other([&] {
    ::chdir(tree_.path("place").c_str());
    start({git, "100"});
    ::chdir("/");
  });
  EXPECT_FALSE(UsageSnapshot::take().userOf(tree_.path("place")));
}

}  // namespace
}  // namespace tidra
