// A mutex between processes: a file with the process id of the run that holds it.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

#include "core/platform/file_descriptor.h"

namespace tidra {

/// Acquired by creating the file, released by removing it, at the latest by the destructor. A stale lock of a dead
/// process is replaced. Not thread-safe.
class [[nodiscard]] RunLock {
 public:
  /// Another run holds the lock.
  class LockError : public std::runtime_error {
   public:
    LockError(std::int32_t pid, const std::string& url);

    /// The holder's process id; -1 when the file has none.
    std::int32_t pid() const { return pid_; }
    /// What to do when that process is not a run, for instance because its id was reused.
    const std::string& help() const { return help_; }

   private:
    std::int32_t pid_;
    std::string help_;
  };

  /// Touches no file.
  explicit RunLock(std::string url);
  ~RunLock();
  RunLock(const RunLock&) = delete;
  RunLock& operator=(const RunLock&) = delete;

  /// Creates the file and missing folders above it. Throws LockError when another run holds it, InputError when the
  /// path is unusable, and std::system_error.
  void acquire();

  /// Removes the file if held by this object.
  void release();

  bool held() const { return held_; }
  const std::string& url() const { return url_; }

 private:
  const std::string url_;
  bool held_ = false;
  FileDescriptor file_;  // open while held; identifies our file by inode
};

}  // namespace tidra
