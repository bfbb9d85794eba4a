// Who works where and who has locked what, seen from another process.
#include "core/platform/usage.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <functional>

#include "tests/support/temporary_tree.h"

namespace tidra {
namespace {

/// Another process that has done something and then waits until the object ends. What it has started itself ends with
/// it.
class OtherProcess {
 public:
  explicit OtherProcess(const std::function<void()>& act) {
    std::array<int, 2> ready{};
    if (::pipe(ready.data()) != 0) return;
    process_ = ::fork();
    if (process_ == 0) {
      ::setpgid(0, 0);
      ::prctl(PR_SET_PDEATHSIG, SIGKILL);
      act();
      if (::write(ready[1], "x", 1) == 1) ::pause();
      ::_exit(0);
    }
    ::setpgid(process_, process_);
    char byte = 0;
    EXPECT_EQ(::read(ready[0], &byte, 1), 1);
    ::close(ready[0]);
    ::close(ready[1]);
  }
  ~OtherProcess() {
    ::kill(-process_, SIGKILL);
    ::waitpid(process_, nullptr, 0);
  }
  OtherProcess(const OtherProcess&) = delete;
  OtherProcess& operator=(const OtherProcess&) = delete;

  pid_t id() const { return process_; }

 private:
  pid_t process_ = -1;
};

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
  EXPECT_FALSE(usage.workerIn(tree_.path("pla")));
  EXPECT_FALSE(usage.lockerIn(tree_.path("place")));
}

TEST_F(Usage, ShowsWhoHasLockedAFileHoweverTheLockWasTaken) {
  const auto open = [&] { return ::open(file_.c_str(), O_RDWR); };
  for (const auto& lock : std::vector<std::function<void()>>{
           [&] { ::flock(open(), LOCK_EX); },
           [&] {
             struct flock whole {};
             whole.l_type = F_WRLCK;
             ::fcntl(open(), F_SETLK, &whole);
           },
           [&] {
             struct flock whole {};
             whole.l_type = F_WRLCK;
             ::fcntl(open(), F_OFD_SETLK, &whole);
           },
           [&] {  // as shell scripts do: a program takes the lock on an inherited file and ends
             const int file = open();
             const pid_t taker = ::fork();
             if (taker == 0) ::_exit(::flock(file, LOCK_EX));
             ::waitpid(taker, nullptr, 0);
           }}) {
    const OtherProcess other(lock);
    const auto use = UsageSnapshot::take().lockerIn(tree_.path("place"));
    ASSERT_TRUE(use);
    EXPECT_EQ(use->process, other.id());
    EXPECT_EQ(use->path, file_);
  }
  EXPECT_FALSE(UsageSnapshot::take().lockerIn(tree_.path("place")));
}

TEST_F(Usage, AnOpenFileIsNoUse) {
  const OtherProcess other([&] { ::open(file_.c_str(), O_RDWR); });
  EXPECT_FALSE(UsageSnapshot::take().lockerIn(tree_.path("place")));
}

}  // namespace
}  // namespace tidra
