#include "fleet/agent/run_lock.h"

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <map>

#include "core/base/errors.h"
#include "core/platform/files.h"
#include "tests/support/matchers.h"
#include "tests/support/message_of.h"
#include "tests/support/other_process.h"
#include "tests/support/temporary_tree.h"

namespace tidra {
namespace {

namespace fs = std::filesystem;

/// Forks a process that runs `work` and exits with its result.
pid_t start(const std::function<int()>& work) {
  const pid_t child = ::fork();
  if (child == 0) ::_exit(work());
  return child;
}

int statusOf(pid_t child) {
  int status = -1;
  ::waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

/// The id of a process that has ended.
pid_t goneProcess() {
  const pid_t child = start([] { return 0; });
  statusOf(child);
  return child;
}

class RunLockTest : public testing::Test {
 protected:
  std::string url() const { return tree_.path("state/fleet.lock"); }
  std::string content() const {
    const auto read = readFile(url());
    return read ? *read : "(none)";
  }
  std::string ownContent() const { return std::to_string(::getpid()) + "\n"; }
  /// The pid in the LockError that acquire throws.
  std::optional<std::int32_t> busyWith() const {
    try {
      RunLock(url()).acquire();
    } catch (const RunLock::LockError& error) {
      return error.pid();
    }
    return std::nullopt;
  }

  const TemporaryTree tree_;
};

TEST_F(RunLockTest, IsAFileWithTheProcessIdAsLongAsItIsHeld) {
  const mode_t former = ::umask(0);
  {
    RunLock lock(url());
    EXPECT_FALSE(lock.held());
    EXPECT_EQ(content(), "(none)") << "making the object touches no file";
    lock.acquire();
    EXPECT_TRUE(lock.held());
    EXPECT_EQ(content(), ownContent());
    struct stat status {};
    ::stat(url().c_str(), &status);
    EXPECT_EQ(status.st_mode & 07777U, 0600U);
    lock.release();
    EXPECT_EQ(content(), "(none)");
    tree_.writeFile("state/fleet.lock", "not ours");
    lock.release();
    EXPECT_EQ(content(), "not ours");
    removeFile(url());
    lock.acquire();
  }
  ::umask(former);
  EXPECT_EQ(content(), "(none)") << "destruction releases";
}

TEST_F(RunLockTest, WhatADeadRunLeftIsTakenOver) {
  const std::string gone = std::to_string(goneProcess());
  for (const std::string& leftover : {gone + "\n", " +" + gone + " \r\n", ownContent()}) {
    tree_.writeFile("state/fleet.lock", leftover);
    RunLock lock(url());
    lock.acquire();
    EXPECT_EQ(content(), ownContent());
  }
}

TEST_F(RunLockTest, WhatMayBelongToALiveRunIsLeftAlone) {
  std::map<std::string, std::int32_t> texts{{std::to_string(::getppid()), ::getppid()}, {"1\n", 1}};
  for (const char* other : {"letters", "", "12 34", "+-1", "99999999999", "\xff"}) texts[other] = -1;
  texts[std::string(5000, ' ') + "1"] = -1;
  for (const auto& [text, pid] : texts) {
    tree_.writeFile("state/fleet.lock", text);
    EXPECT_EQ(busyWith(), pid) << text;
    EXPECT_EQ(content(), text);
  }
  const RunLock::LockError error(17, "/run/x.lock");
  EXPECT_STREQ(error.what(), "another tidra run (pid 17) holds the lock");
  EXPECT_THAT(error.help(), HasSubstr("remove /run/x.lock"));
}

TEST_F(RunLockTest, WhatCanBeNoLockFileIsRefused) {
  const auto refusal = [&] { return messageOf<InputError>([&] { RunLock(url()).acquire(); }); };
  const std::string other = tree_.writeFile("other", std::to_string(goneProcess()));
  tree_.symlink("state/fleet.lock", other);
  EXPECT_EQ(refusal(), "The lock file " + url() + " is a link; remove that or name another lock file.");
  EXPECT_TRUE(readFile(other));
  removeFile(url());
  tree_.makeFolder("state/fleet.lock");
  EXPECT_THAT(refusal(), HasSubstr(" is a folder; "));
  ::rmdir(url().c_str());
  ASSERT_EQ(::mkfifo(url().c_str(), 0600), 0);
  EXPECT_THAT(refusal(), HasSubstr(" is not a regular file; "));
  tree_.writeFile("file");
  EXPECT_EQ(messageOf<InputError>([&] { RunLock(tree_.path("file/x/fleet.lock")).acquire(); }),
            "The folder " + tree_.path("file/x") + " for the lock file cannot be made: Not a directory.");
  if (::geteuid() != 0) return;
  tree_.makeFolder("elsewhere");
  tree_.symlink("bent", tree_.path("elsewhere"));
  constexpr uid_t nobody = 65534;
  ASSERT_EQ(::lchown(tree_.path("bent").c_str(), nobody, nobody), 0);
  EXPECT_THAT(messageOf<InputError>([&] { RunLock(tree_.path("bent/sub/fleet.lock")).acquire(); }),
              HasSubstr("a link that belongs to another user"));
  EXPECT_TRUE(fs::is_empty(tree_.path("elsewhere")));
}

TEST_F(RunLockTest, AnotherLockInItsPlaceIsNotRemovedOnRelease) {
  RunLock lock(url());
  lock.acquire();
  removeFile(url());
  tree_.writeFile("state/fleet.lock", "1\n");
  lock.release();
  EXPECT_EQ(content(), "1\n");
}

TEST_F(RunLockTest, AKilledHolderMakesWayForTheNext) {
  RunLock lock(url());
  {
    const OtherProcess holder([&] { lock.acquire(); });  // ends by SIGKILL
    EXPECT_EQ(busyWith(), holder.id());
  }
  EXPECT_EQ(busyWith(), std::nullopt);
  EXPECT_EQ(content(), "(none)");
}

// Each round starts processes at a barrier, with a stale lock or without. The holder creates a file with O_EXCL, which
// fails if two hold the lock, and holds it until all have their result.
TEST_F(RunLockTest, OfTwentyAtOnceExactlyOneHolds) {
  constexpr int processes = 20;
  constexpr int rounds = 16;
  const std::string leftover = std::to_string(goneProcess()) + "\n";
  for (int round = 0; round < rounds; ++round) {
    if (round % 4 != 0) tree_.writeFile("state/fleet.lock", leftover);
    std::array<int, 2> gate{};
    std::array<int, 2> answers{};
    std::array<int, 2> end{};
    ASSERT_EQ(::pipe(gate.data()) + ::pipe(answers.data()) + ::pipe(end.data()), 0);
    std::vector<pid_t> children;
    for (int i = 0; i < processes; ++i) {
      children.push_back(start([&] {
        ::close(gate[1]);
        ::close(end[1]);
        char byte = 0;
        [[maybe_unused]] auto done = ::read(gate[0], &byte, 1);
        RunLock lock(url());
        std::int32_t answer = 0;
        try {
          lock.acquire();
          answer = ::getpid();
        } catch (const RunLock::LockError& error) {
          answer = -error.pid();
        } catch (const std::exception&) {
        }
        done = ::write(answers[1], &answer, sizeof answer);
        done = ::read(end[0], &byte, 1);
        lock.release();
        return 0;
      }));
    }
    ::close(gate[0]);
    ::close(gate[1]);
    std::vector<std::int32_t> holders;
    std::vector<std::int32_t> named;
    for (int i = 0; i < processes; ++i) {
      std::int32_t answer = 0;
      ASSERT_EQ(::read(answers[0], &answer, sizeof answer), static_cast<ssize_t>(sizeof answer));
      (answer > 0 ? holders : named).push_back(answer);
    }
    EXPECT_EQ(holders.size(), 1U) << "round " << round;
    EXPECT_THAT(named, Each(holders.empty() ? 0 : -holders[0])) << "round " << round;
    ::close(end[0]);
    ::close(end[1]);
    for (const pid_t child : children) EXPECT_EQ(statusOf(child), 0);
    ::close(answers[0]);
    ::close(answers[1]);
    EXPECT_EQ(content(), "(none)");
  }
}

}  // namespace
}  // namespace tidra
