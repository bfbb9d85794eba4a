// Sizes of folders.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "core/model/inside_notes.h"
#include "core/model/repositories_inside.h"
#include "core/model/storage_use.h"
#include "core/platform/directory_reader.h"
#include "core/platform/lower_layer.h"
#include "core/platform/mount_table.h"
#include "core/scan/exclusion_filter.h"
#include "core/scan/kept_inside.h"

namespace tidra {

class RuleIndex;

struct TidraDirectorySizeReader {
  static constexpr std::chrono::seconds timeLimit{20};

  /// Returns the apparent size of a folder's contents; does not follow symbolic links or enter bundle packages. 0 for a
  /// folder that cannot be opened. nullopt if a file's attributes cannot be read or the time limit expires.
  static std::optional<std::uint64_t> read(const std::string& path, std::chrono::milliseconds limit = timeLimit);

  struct Folder {
    std::string path;
    bool enterBundles = false;   // count the contents of bundle packages, too
    bool isTrash = false;        // everything in it is removed on emptying, nested stores and keep files included
    bool holdsPackages = false;  // published with folders of any name: rules rank nothing in it
  };

  struct Options {
    unsigned workers = 0;                      // 0: as many as a scan uses
    std::vector<MountPoint> mounts = {};       // file systems mounted inside are not counted
    OverlayLayers layers = {};                 // what the lower ones keep is not freeable
    TidraScanExclusionFilter exclusions = {};  // matches inside a folder must stay
    std::vector<Store> stores = {};            // likewise, in addition to stores recognised by structure
    std::optional<std::chrono::milliseconds> limit = {};
    std::function<bool()> shouldCancel = {};  // polled on the caller's thread
    bool forRemoval = false;                  // folders that the running user cannot empty must stay
    // All rules, for places outside projects: Size::inside names what they rank higher, and exclusions by name hold
    // inside. Null: neither.
    const RuleIndex* rules = nullptr;
  };

  struct Size {
    std::optional<std::uint64_t> bytes;         // absent when not finished
    std::optional<KeptInside> kept;             // first entry found that must stay
    std::optional<FileIdentity> identity = {};  // of the folder that was read; absent when not opened
    RepositoriesInside repositories = {};       // none in a trash
    InsideNotes inside = {};                    // likewise
    StorageUse use = {};                        // valid with bytes
  };

  /// As read(), for several folders in parallel; results in the same order.
  static std::vector<Size> readAll(const std::vector<Folder>& folders, const Options& options);
};

/// Returns what removing one entry that is no folder frees; 0 for a file with further hard links, or if unknown.
std::int64_t freeableByEntry(int folder, const std::string& name);

}  // namespace tidra
