// What this user removed: when, by which command, and where it went. docs/state.md describes the file.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/base/enum_table.h"
#include "core/base/json_codec.h"
#include "core/base/time_point.h"
#include "core/model/disposal.h"

namespace tidra {

enum class RemovalCommand { clean, apply, emptyTrash, trashPurge, quarantinePurge };

template <>
struct EnumTable<RemovalCommand> {
  static constexpr std::string_view name = "command";
  static constexpr std::array rows{
      EnumRow<RemovalCommand>{RemovalCommand::clean, "clean"},
      EnumRow<RemovalCommand>{RemovalCommand::apply, "apply"},
      EnumRow<RemovalCommand>{RemovalCommand::emptyTrash, "empty trash"},
      EnumRow<RemovalCommand>{RemovalCommand::trashPurge, "trash purge"},
      EnumRow<RemovalCommand>{RemovalCommand::quarantinePurge, "quarantine purge"},
  };
};

/// The receipt of an item, and what became of it. Of one that was being moved when its run was killed, `destination` is
/// unknown and `at` is the beginning of the run.
struct RemovedItem : DisposalReceipt {
  std::int64_t freedBytes = 0;                // 0 for what was moved
  std::optional<std::int64_t> freeableBytes;  // what deleting it would have freed; absent in older files
  std::optional<TimePoint> restoredAt;        // when it was brought back
  bool isPartial = false;                     // its deletion was cut short; the rest is left

  bool isMoved() const { return method != DisposalMethod::delete_; }

  bool operator==(const RemovedItem&) const = default;
};

/// One command that removed something.
struct RemovalRun {
  static constexpr std::size_t mostItems = 1000;
  static constexpr std::size_t mostFailures = 100;

  std::string id;
  TimePoint at{};
  RemovalCommand command = RemovalCommand::clean;
  DisposalMethod method = DisposalMethod::trash;
  std::vector<RemovedItem> items;  // in the order in which they went
  std::int64_t moreItems = 0;      // beyond the most that are kept
  std::vector<TidraDeletionFailure> failures;
  std::int64_t moreFailures = 0;
  std::int64_t freedBytes = 0;        // by all items
  std::optional<TimePoint> undoneAt;  // since then nothing of it is left that an undo could bring back

  /// Adds an item or a failure; beyond the most that the history keeps, only counts it.
  void add(RemovedItem item);
  void add(TidraDeletionFailure failure);

  bool operator==(const RemovalRun&) const = default;
};

/// What was moved back from trash or quarantine.
struct MovedBack {
  std::string from;  // its place there
  std::string to;    // the path that it was removed from
};

class RemovalJournal;
struct LeftJournal;

/// A file of the running user alone. A run that ended without finish() is taken over from its journal by the next
/// reader or change. Every change is made under a lock and replaces the file atomically, so that
/// processes lose none of each other's runs and a crash leaves the old history or the new one.
class RemovalHistory {
 public:
  static constexpr std::size_t mostRuns = 200;

  /// `onNote` is called with a sentence when a damaged file, or what is in the place of a journal, is set aside.
  RemovalHistory(const std::string& folder, std::function<void(const std::string&)> onNote);

  /// Returns the runs, newest first, those of killed processes included; none without a file. A run that is under way
  /// is not among them. Throws PreferencesError if the file is damaged or cannot be read.
  std::vector<RemovalRun> load() const;

  /// Writes down the runs of killed processes. What their journals leave open is decided by what is at its place now,
  /// so this comes before anything is brought back. Throws PreferencesError.
  void takeOverKilled();

  /// Sets the `id` of the run and begins its journal. Throws PreferencesError.
  std::unique_ptr<RemovalJournal> begin(RemovalRun& run);

  /// Adds the run, unless it has no items, and removes its journal, if any. Drops the oldest runs beyond the bounds
  /// above. A damaged file is kept beside the new one. Throws PreferencesError if the history cannot be written.
  void finish(RemovalRun run, const RemovalJournal* journal = nullptr);

  /// Marks the items as brought back, each in the newest run that moved it; a run all of whose moved items are back is
  /// undone. Writes nothing where no run has one of them. Throws PreferencesError.
  void markRestored(const std::vector<MovedBack>& items, TimePoint now);

  /// Changes the run with this `id` as it is stored by now, unless it has been dropped. Throws PreferencesError.
  void update(const std::string& id, const std::function<void(RemovalRun&)>& edit);

 private:
  std::optional<std::vector<RemovalRun>> stored() const;
  void locked(const std::function<void()>& work) const;
  void replace(std::vector<RemovalRun>& runs) const;
  void discard(const LeftJournal& journal) const;
  void change(const std::function<void(std::vector<RemovalRun>&)>& edit);

  std::string folder_;
  std::string path_;
  std::function<void(const std::string&)> onNote_;
};

extern template struct RecordCodec<RemovedItem>;
template <>
struct JsonCodec<RemovedItem> : RecordCodec<RemovedItem> {};

extern template struct RecordCodec<RemovalRun>;
template <>
struct JsonCodec<RemovalRun> : RecordCodec<RemovalRun> {};

}  // namespace tidra
