// Permanent deletion of one entry.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>

#include "core/platform/held_folder.h"
#include "core/platform/lower_layer.h"

namespace tidra {

struct ItemRemoval {
  struct Options {
    unsigned workers = 0;                                  // 0: as many as a scan uses
    std::function<bool()> shouldCancel{};                  // polled on the caller's thread
    std::atomic<std::uint64_t>* removedEntries = nullptr;  // counts files and folders as they go; any thread
    std::string completion{};  // how an interrupted removal is finished; empty: a cleanup of the folder that holds it
  };

  /// Throws DisposalError if a folder in the entry belongs to somebody else and cannot be emptied, so that run() could
  /// remove only a part. Reads the whole tree.
  static void requireWhollyRemovable(const HeldEntry& entry, const Options& options);

  /// Removes a file, a symbolic link, or a folder with its contents. A folder is first renamed to a hidden name in its
  /// parent, so that it disappears atomically. An interrupted removal leaves that name and a RemovalNote; calling run()
  /// on it finishes the removal. A folder of which nothing could be removed gets its name back. Throws StrayedError if
  /// another file was renamed and could not be renamed back, PartlyRemovedError or DisposalError if anything is left.
  /// Returns whether the folder lay in a lower layer of an overlay, which keeps its files: removing it frees at most
  /// what was changed since.
  static bool run(const HeldEntry& entry, const Options& options);

  /// Returns what a removal has freed that left the folder `left`, when all of it would have freed `freeableBefore`.
  struct Measuring {
    bool isInTrash = false;
    unsigned workers = 0;  // 0: as many as a scan uses
    OverlayLayers layers = {};
  };
  static std::int64_t freedByPart(const std::string& left, std::int64_t freeableBefore, const Measuring& measuring);
};

}  // namespace tidra
