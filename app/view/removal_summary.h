// What a removal has done.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "app/view/cleanup_job.h"
#include "core/model/disposal.h"

namespace tidra {

/// Texts as they were found: a face escapes them.
struct RemovalSummary {
  /// What was moved, and can be restored.
  struct Stored {
    DisposalMethod method = DisposalMethod::trash;
    std::size_t items = 0;
    std::int64_t freeableBytes = 0;  // once it is purged

    bool operator==(const Stored&) const = default;
  };

  std::int64_t freedBytes = 0;
  bool isUpperBound = false;          // file systems may share extents
  std::vector<VolumeChange> volumes;  // empty while nothing was freed
  std::size_t removed = 0;            // items that are no longer in their place
  std::vector<Stored> stored;
  bool isInHistory = true;                     // so that an undo knows it
  std::vector<TidraDeletionFailure> failures;  // what stays, and why
  std::size_t inPart = 0;                      // of the failures: deleted in part
  std::vector<std::string> notes;
  std::string failure;  // a sentence on why it ended early; empty if it did not
  bool isCancelled = false;

  std::size_t otherEntries = 0;  // of the trash, deleted when it was emptied
  std::int64_t otherBytes = 0;   // that they freed

  static RemovalSummary of(const CleanupResult& result);

  bool canBeUndone() const { return isInHistory && !stored.empty(); }
  /// What happened, a sentence each, beginning with what was freed.
  std::vector<std::string> sentences() const;

  bool operator==(const RemovalSummary&) const = default;

 private:
  void addEmptied(const TrashEmptier::Result& emptied);
};

}  // namespace tidra
