// A lock that processes share through a file.
#pragma once

#include <optional>
#include <string>

#include "core/platform/file_descriptor.h"

namespace tidra {

/// Holds an exclusive lock on a lock file while alive; the system releases it when the process ends in whatever way.
/// The file stays.
class FileLock {
 public:
  /// Makes the file when it is missing, readable by its owner only, and waits for the lock. Throws std::system_error
  /// whose what() names the path.
  explicit FileLock(const std::string& path);

  /// The same without waiting: none when the lock is held. Throws as the constructor does.
  static std::optional<FileLock> tryTake(const std::string& path);

 private:
  explicit FileLock(FileDescriptor file) : file_(std::move(file)) {}

  FileDescriptor file_;
};

}  // namespace tidra
