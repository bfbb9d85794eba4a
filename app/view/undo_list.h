// What was removed, newest first, and what of it can come back.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "app/state/removal_history.h"
#include "app/view/removal_undo.h"

namespace tidra {

class UndoList {
 public:
  struct Setting {
    TidraPathResolver resolver;
    std::string host;
    std::vector<MountPoint> mounts;
    std::function<TimePoint()> clock;
  };

  /// Reads the history, with the runs of killed processes. Throws PreferencesError.
  explicit UndoList(Setting setting);
  /// The same again.
  void reload();

  /// Newest first.
  const std::vector<RemovalRun>& runs() const { return runs_; }
  /// Sentences: a damaged history was set aside.
  const std::vector<std::string>& notes() const { return notes_; }

  /// A run at a glance.
  struct Row {
    std::size_t items = 0;  // those included that the history does not keep
    std::size_t moved = 0;  // of the kept ones
    std::size_t back = 0;   // of these
    std::int64_t freedBytes = 0;
    bool mayComeBack = false;

    bool operator==(const Row&) const = default;
  };
  Row row(std::size_t run) const;

  /// The newest run of which something can come back; reads the stores.
  std::optional<std::size_t> newest() const;

  /// One item of a run, as it is now.
  struct Item {
    std::string path;
    std::optional<std::int64_t> bytes;
    std::string where;   // "trash", "quarantine", "deleted", "removed by docker", "restored"
    std::string reason;  // why it does not come back, the rest of a sentence after its path; empty if it may

    bool operator==(const Item&) const = default;
  };
  /// Reads the stores. Last removed first.
  std::vector<Item> items(std::size_t run) const;

  struct [[nodiscard]] Result {
    std::vector<std::string> restored;           // original paths
    std::vector<TidraDeletionFailure> failures;  // what stays in its store, or never comes back
    std::vector<std::string> notes;
    bool isCancelled = false;
  };
  /// Moves back what can come back, and writes that into the history. Polls `shouldCancel` between items. Blocks for as
  /// long as the moves take: renames, but between file systems copies.
  Result undo(std::size_t run, const std::function<bool()>& shouldCancel = {});

 private:
  RemovalHistory history();
  UndoFinder finder() const;
  /// An undo under way.
  struct Undone {
    Result result;
    std::vector<std::size_t> back;  // items of the run
    std::size_t settled = 0;        // back, or lost for ever
  };
  static void bringBack(const UndoItem& item, const std::string& path, Undone& undone);
  void note(const RemovalRun& run, Undone& undone, bool isDone);

  Setting setting_;
  std::vector<RemovalRun> runs_;
  std::vector<std::string> notes_;
};

}  // namespace tidra
