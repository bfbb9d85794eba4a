// Another file system inside a temporary tree, where the machine lets the tests mount one.
#pragma once

#ifdef __linux__
#include <sched.h>
#include <sys/mount.h>
#endif

#include <string>

namespace tidra {

/// From here on the calling thread, and what it starts, has a view of the mounts of its own: tests that run beside it
/// do not take its volumes for theirs, and nothing stays mounted however the test ends. False where that is not
/// permitted.
inline bool enterOwnMounts() {
#ifdef __linux__
  return ::unshare(CLONE_NEWNS) == 0 && ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
#else
  return false;
#endif
}

/// Another file system at `path`, an empty folder, as long as the object lives; seen by this test alone.
class TemporaryMount {
 public:
  /// A small one in memory.
  explicit TemporaryMount(std::string path, const char* options = "size=1m,mode=755")
      : TemporaryMount("none", std::move(path), "tmpfs", 0, options) {}
  /// The folder `from` once more.
  static TemporaryMount bind(const std::string& from, std::string path) {
    return {from.c_str(), std::move(path), nullptr, bindFlag, nullptr};
  }
  ~TemporaryMount() {
#ifdef __linux__
    if (mounted_) ::umount2(path_.c_str(), MNT_DETACH);
#endif
  }
  TemporaryMount(const TemporaryMount&) = delete;
  TemporaryMount& operator=(const TemporaryMount&) = delete;

  /// False where mounting is not permitted; a test skips itself then.
  explicit operator bool() const { return mounted_; }
  const std::string& path() const { return path_; }

 private:
#ifdef __linux__
  static constexpr unsigned long bindFlag = MS_BIND;
  TemporaryMount(const char* source, std::string path, const char* type, unsigned long flags, const char* options)
      : path_(std::move(path)),
        mounted_(enterOwnMounts() && ::mount(source, path_.c_str(), type, flags, options) == 0) {}
#else
  static constexpr unsigned long bindFlag = 0;
  TemporaryMount(const char*, std::string path, const char*, unsigned long, const char*) : path_(std::move(path)) {}
#endif

  std::string path_;
  bool mounted_ = false;
};

}  // namespace tidra
