// A lock between processes, held through a file.
#pragma once

#include <optional>
#include <string>

#include "core/platform/file_descriptor.h"

namespace tidra {

/// Holds an exclusive flock() while alive; the kernel releases it when the process ends, crashes included. The file
/// stays.
class [[nodiscard]] FileLock {
 public:
  /// Creates the file with mode 0600 if missing and blocks until the lock is free. Throws std::system_error that names
  /// the path.
  explicit FileLock(const std::string& path);

  /// As the constructor, but returns nullopt instead of blocking while another process holds the lock.
  [[nodiscard]] static std::optional<FileLock> tryTake(const std::string& path);

  /// Whether a process holds the lock of an existing file, this one included. False if the file cannot be opened.
  [[nodiscard]] static bool isHeld(const std::string& path);

 private:
  explicit FileLock(FileDescriptor file) : file_(std::move(file)) {}

  FileDescriptor file_;
};

}  // namespace tidra
