// The folder in which one hub keeps everything. docs/hub.md describes it.
#pragma once

#include <optional>
#include <string>
#include <system_error>

#include "core/base/errors.h"
#include "core/platform/file_lock.h"

namespace tidra {

/// Belongs to this process alone while the object lives.
class HubDataFolder {
 public:
  explicit HubDataFolder(std::string path) : path_(std::move(path)) {}

  /// Makes the folders that are missing, for their owner only, and takes the folder. Throws HubStoreError when another
  /// process has it, and std::system_error.
  void take();

  /// Throws HubStoreError when another process has the folder; makes and takes nothing.
  void requireFree() const;

  const std::string& path() const { return path_; }
  std::string hosts() const;
  std::string policies() const;
  std::string eventLog() const;

  /// The sentence for a folder that cannot be used.
  InputError unusable(const std::system_error& error) const;

 private:
  std::string lockFile() const;

  std::string path_;
  std::optional<FileLock> lock_;
};

}  // namespace tidra
