// What lies in the trash and the quarantine: listed, brought back or deleted for good, beside a face.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "app/view/mailbox.h"
#include "core/base/joining_thread.h"
#include "core/dispose/freedesktop_trash.h"
#include "core/dispose/quarantine.h"
#include "core/model/disposal.h"

namespace tidra {

/// An entry of either store.
struct StoredThing {
  std::variant<FreedesktopTrash::Entry, QuarantineDisposer::Entry> entry;

  bool isInTrash() const { return entry.index() == 0; }
  std::string path() const;          // where it lies
  std::string originalPath() const;  // empty if nobody knows
  std::optional<TimePoint> since() const;
  std::int64_t freeableBytes() const;  // by deleting it, as far as known
};

struct StoresOrder {
  enum class Act { list, restore, purge };

  Act act = Act::list;
  std::vector<StoredThing> things = {};  // to restore or to delete for good
};

/// All calls on the face's thread.
class StoresJob {
 public:
  struct Result {
    std::vector<StoredThing> things;    // afterwards, newest first
    std::size_t done = 0;               // restored or deleted
    std::vector<std::string> restored;  // original places of what came back
    std::int64_t freedBytes = 0;
    std::vector<TidraDeletionFailure> failures;  // what stays where it is, and why
    std::vector<std::string> notes;
    std::string failure;  // a sentence; empty if there was none
  };

  /// Where and for whom.
  struct Place {
    TidraPathResolver resolver;
    std::string host;
    std::vector<MountPoint> mounts;
    std::function<TimePoint()> clock;
  };

  /// Starts. What is restored or deleted is written into the history. `wake` as for Mailbox. Throws std::system_error
  /// when the system allows no more threads.
  StoresJob(Place place, StoresOrder order, std::function<void()> wake);
  /// Cancels and waits.
  ~StoresJob() { isCancelled_ = true; }
  StoresJob(const StoresJob&) = delete;
  StoresJob& operator=(const StoresJob&) = delete;

  /// Returns the result, once; null until then.
  [[nodiscard]] std::shared_ptr<const Result> drain() { return mailbox_.drain(); }

 private:
  void work(Result& result);
  void restore(Result& result);
  void purgeTrash(Result& result);
  void purgeQuarantine(Result& result);
  void list(Result& result) const;
  QuarantineDisposer quarantine() const;

  const Place place_;
  StoresOrder order_;
  std::atomic<bool> isCancelled_{false};
  Mailbox<std::shared_ptr<const Result>> mailbox_;
  JoiningThread thread_;  // last: it uses the others
};

}  // namespace tidra
