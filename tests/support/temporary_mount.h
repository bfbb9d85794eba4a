// Another file system inside a temporary tree, where the machine lets the tests mount one.
#pragma once

#ifdef __linux__
#include <sys/mount.h>
#endif
#include <sys/stat.h>

#include <string>

namespace tidra {

/// A small file system in memory at `path`, an empty folder, as long as the object lives.
class TemporaryMount {
 public:
#ifdef __linux__
  explicit TemporaryMount(std::string path, const char* options = "size=1m,mode=755")
      : path_(std::move(path)), mounted_(::mount("none", path_.c_str(), "tmpfs", 0, options) == 0) {}
  ~TemporaryMount() {
    if (mounted_) ::umount2(path_.c_str(), MNT_DETACH);
  }
#else
  explicit TemporaryMount(std::string path, const char* = "") : path_(std::move(path)) {}
#endif
  TemporaryMount(const TemporaryMount&) = delete;
  TemporaryMount& operator=(const TemporaryMount&) = delete;

  /// False where mounting is not permitted; a test skips itself then.
  explicit operator bool() const { return mounted_; }
  const std::string& path() const { return path_; }

 private:
  std::string path_;
  bool mounted_ = false;
};

}  // namespace tidra
