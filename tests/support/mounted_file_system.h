// A file system that a shell script mounts in a test's tree, where the machine permits and has it.
#pragma once

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#ifdef __linux__
#include <sys/mount.h>
#include <sys/prctl.h>
#endif

#include <array>
#include <string>

#include "tests/support/temporary_mount.h"
#include "tests/support/temporary_tree.h"

namespace tidra {

/// Runs a script as root that mounts something at $V, with $W as a folder for images and layers. Other processes do not
/// see the mount, and nothing of it survives the object or the test: FUSE servers run in a PID namespace that ends with
/// the test.
class MountedFileSystem {
 public:
  MountedFileSystem(const TemporaryTree& tree, const std::string& script)
      : path_(tree.makeFolder("volume")), work_(tree.makeFolder("work")) {
    std::array<int, 2> ready{};
    if (::geteuid() != 0 || !enterOwnMounts() || ::pipe(ready.data()) != 0) return;
    process_ = ::fork();
    if (process_ == 0) runScript(script, ready[1]);
    ::close(ready[1]);
    char byte = 0;
    mounted_ = ::read(ready[0], &byte, 1) == 1;
    ::close(ready[0]);
  }
  ~MountedFileSystem() {
#ifdef __linux__
    for (const std::string& place : {path_, work_}) ::umount2(place.c_str(), MNT_DETACH);
#endif
    if (process_ > 0) {
      ::kill(process_, SIGKILL);
      ::waitpid(process_, nullptr, 0);
    }
  }
  MountedFileSystem(const MountedFileSystem&) = delete;
  MountedFileSystem& operator=(const MountedFileSystem&) = delete;

  /// False where the script failed; the test then skips itself.
  explicit operator bool() const { return mounted_; }
  std::string path(const std::string& relative) const { return path_ + "/" + relative; }

 private:
  [[noreturn]] void runScript(const std::string& script, int ready) const {
#ifdef __linux__
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
#endif
    ::dup2(ready, 9);
    ::setenv("V", path_.c_str(), 1);
    ::setenv("W", work_.c_str(), 1);
    const std::string whole = "set -e; exec >/dev/null 2>&1; " + script + "\necho m >&9; exec 9>&- sleep 100000";
    ::execlp("unshare", "unshare", "--pid", "--fork", "--kill-child", "sh", "-c", whole.c_str(), nullptr);
    ::_exit(1);
  }

  std::string path_;
  std::string work_;
  pid_t process_ = -1;
  bool mounted_ = false;
};

}  // namespace tidra
