// How many bytes folders hold.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "core/platform/directory_reader.h"
#include "core/platform/mount_table.h"

namespace tidra {

struct TidraDirectorySizeReader {
  static constexpr std::chrono::seconds timeLimit{20};

  /// The logical size of everything in a folder, links not followed, bundle packages not entered; 0 for a folder that
  /// cannot be opened. None when the attributes of a file cannot be read, or when the time limit passes first.
  static std::optional<std::uint64_t> read(const std::string& path, std::chrono::milliseconds limit = timeLimit);

  struct Options {
    unsigned workers = 0;                 // 0: as many as a scan takes
    bool enterBundles = false;            // count the insides of bundle packages too
    std::vector<MountPoint> mounts = {};  // what is mounted inside a folder is not counted
    std::optional<std::chrono::milliseconds> limit = {};
    std::function<bool()> shouldCancel = {};  // polled on the caller's thread
  };

  struct Measured {
    std::uint64_t bytes = 0;
    std::optional<FileIdentity> identity = {};  // of the folder whose entries were counted; absent when not opened

    bool operator==(const Measured&) const = default;
  };

  /// The same for several folders at once, in their order; none for those that were not finished.
  static std::vector<std::optional<Measured>> readAll(const std::vector<std::string>& paths, const Options& options);
};

}  // namespace tidra
