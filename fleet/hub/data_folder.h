// The data folder of a hub, described in docs/hub.md.
#pragma once

#include <optional>
#include <string>
#include <system_error>

#include "core/base/errors.h"
#include "core/platform/file_lock.h"

namespace tidra {

/// Holds an exclusive lock on the folder while it lives.
class HubDataFolder {
 public:
  explicit HubDataFolder(std::string path) : path_(std::move(path)) {}

  /// Creates missing folders with mode 0700 and locks the folder. Throws HubStoreError when another process holds it,
  /// and std::system_error.
  void take();

  /// Throws HubStoreError when another process holds the folder; changes nothing.
  void requireFree() const;

  const std::string& path() const { return path_; }
  std::string hosts() const;
  std::string policies() const;
  std::string eventLog() const;

  /// The error for an unusable folder.
  InputError unusable(const std::system_error& error) const;

 private:
  std::string lockFile() const;

  std::string path_;
  std::optional<FileLock> lock_;
};

}  // namespace tidra
