// Keeps two unattended runs on one host apart: a file that holds the process id of the run that owns it.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

#include "core/platform/file_descriptor.h"

namespace tidra {

/// Free (no file), then held (a file with this process's id), then free again on release or destruction. What a run
/// that died left behind is taken over. Not to be shared between threads.
class RunLock {
 public:
  /// Another run holds the lock.
  class LockError : public std::runtime_error {
   public:
    LockError(std::int32_t pid, const std::string& url);

    /// The owner's process id; -1 when the file does not hold one.
    std::int32_t pid() const { return pid_; }
    /// A sentence about what to do when that is no run at all, such as a number that another program got since.
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

  /// Makes the folders above the file that are missing, and the file. Throws LockError when another run holds it,
  /// InputError when what is there can be no lock file or its folder cannot be made, and std::system_error.
  void acquire();

  /// Removes the file if this object holds it.
  void release();

  bool held() const { return held_; }
  const std::string& url() const { return url_; }

 private:
  const std::string url_;
  bool held_ = false;
  FileDescriptor file_;  // while held; tells this lock from one that took its place
};

}  // namespace tidra
