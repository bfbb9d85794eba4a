// Temporary mounts inside a test's tree, where the machine permits them.
#pragma once

#ifdef __linux__
#include <sched.h>
#include <sys/mount.h>
#endif

#include <string>

namespace tidra {

/// Moves the calling thread and its children into a mount namespace: concurrent tests do not see its volumes, and no
/// mount survives the test. False where that is not permitted.
inline bool enterOwnMounts() {
#ifdef __linux__
  return ::unshare(CLONE_NEWNS) == 0 && ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
#else
  return false;
#endif
}

/// A mount at `path`, an empty folder, while the object lives; visible to this test only.
class TemporaryMount {
 public:
  /// A small tmpfs.
  explicit TemporaryMount(std::string path, const char* options = "size=1m,mode=755")
      : TemporaryMount("none", std::move(path), "tmpfs", 0, options) {}
  /// A bind mount of `from`.
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

  /// False where mounting is not permitted; the test then skips itself.
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
