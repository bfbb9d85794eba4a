// A process besides the test's own.
#pragma once

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#ifdef __linux__
#include <sys/prctl.h>
#endif

#include <array>
#include <functional>

namespace tidra {

/// Performs an action and then waits until the object is destroyed. What it has started ends with it.
class OtherProcess {
 public:
  explicit OtherProcess(const std::function<void()>& act) {
    std::array<int, 2> ready{};
    if (::pipe(ready.data()) != 0) return;
    process_ = ::fork();
    if (process_ == 0) {
      ::setpgid(0, 0);
#ifdef __linux__
      ::prctl(PR_SET_PDEATHSIG, SIGKILL);
#endif
      act();
      if (::write(ready[1], "x", 1) == 1) ::pause();
      ::_exit(0);
    }
    ::setpgid(process_, process_);
    char byte = 0;
    EXPECT_EQ(::read(ready[0], &byte, 1), 1);
    for (const int end : ready) ::close(end);
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

}  // namespace tidra
