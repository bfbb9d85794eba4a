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
#include "core/scan/exclusion_filter.h"
#include "core/scan/kept_inside.h"

namespace tidra {

struct TidraDirectorySizeReader {
  static constexpr std::chrono::seconds timeLimit{20};

  /// The logical size of everything in a folder, links not followed, bundle packages not entered; 0 for a folder that
  /// cannot be opened. None when the attributes of a file cannot be read, or when the time limit passes first.
  static std::optional<std::uint64_t> read(const std::string& path, std::chrono::milliseconds limit = timeLimit);

  struct Folder {
    std::string path;
    bool enterBundles = false;  // count the insides of bundle packages too
    bool isTrash = false;       // everything in it goes when it is emptied, other stores included
  };

  struct Options {
    unsigned workers = 0;                      // 0: as many as a scan takes
    std::vector<MountPoint> mounts = {};       // what is mounted inside a folder is not counted
    TidraScanExclusionFilter exclusions = {};  // what of it lies inside a folder must stay
    std::vector<Store> stores = {};            // the same, besides those that are recognised by themselves
    std::optional<std::chrono::milliseconds> limit = {};
    std::function<bool()> shouldCancel = {};  // polled on the caller's thread
  };

  struct Size {
    std::optional<std::uint64_t> bytes;         // absent when the folder was not finished
    std::optional<KeptInside> kept;             // what was met in it that must stay
    std::optional<FileIdentity> identity = {};  // of the folder whose entries were counted; absent when not opened
  };

  /// The same for several folders at once, in their order.
  static std::vector<Size> readAll(const std::vector<Folder>& folders, const Options& options);
};

}  // namespace tidra
