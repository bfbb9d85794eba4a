// The freedesktop.org trash, compatible with file managers.
#pragma once

#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "core/base/time_point.h"
#include "core/dispose/quarantine.h"
#include "core/dispose/store_records.h"
#include "core/dispose/volumes.h"
#include "core/platform/held_folder.h"
#include "core/platform/mount_table.h"
#include "core/platform/path_resolver.h"
#include "core/platform/path_text.h"

namespace tidra {

class FreedesktopTrash {
 public:
  /// The two folders of a trash directory.
  struct Location {
    std::string files;
    std::string info;

    bool operator==(const Location&) const = default;
  };

  /// Which date an entry has. A leftover is what an interrupted removal left, or an info file whose item never came or
  /// is gone.
  enum class Dating { dated, leftover, noInfoFile, noDate, future };

  /// An entry of "files", or an info file without one.
  struct Entry {
    std::string path;                         // in "files"
    std::optional<std::string> originalPath;  // as the info file says, absolute; absent without a valid one
    Dating dating = Dating::dated;
    TimePoint date{};                      // deletion date; valid only when dated
    std::optional<FileIdentity> identity;  // absent when there is no item
    std::int64_t bytes = 0;                // 0 until measure()
    std::int64_t freeable = 0;             // what purging it frees; likewise

    /// Its name in the trash, which may have a number appended.
    std::string name() const { return std::string(lastPathComponent(path)); }

    /// Whether it was trashed before `cutOff`. Interrupted removals are always due; entries without a valid date never
    /// are.
    bool isDue(TimePoint cutOff) const { return dating == Dating::leftover || (isDated() && date < cutOff); }
    bool isDated() const { return dating == Dating::dated; }
    bool isUndated() const { return !isDated() && dating != Dating::leftover; }
    /// Returns why purging by age skips it: "has no info file".
    std::string_view fault() const;
  };

  /// An entry whose deletion was cut short.
  struct Partial {
    Entry entry;
    std::int64_t freedBytes = 0;  // 0 for an entry that was not measured
  };

  struct Purged {
    std::vector<std::string> paths;  // deleted permanently, leftovers included
    std::vector<Partial> partial;    // of some failures
    std::vector<TidraDeletionFailure> failures;
    std::vector<std::string> notes;  // what was skipped and why, for display
    std::size_t notBegun = 0;        // entries left because of cancellation

    Purged& operator+=(Purged other);
  };

  /// The single rule for emptying a trash; see choose().
  struct Choice {
    std::vector<Entry> due;
    std::vector<Entry> undated;  // kept: no valid deletion date
  };

  /// Due: trashed before `cutOff`, plus entries without a valid date if `includesUndated`. Entries trashed later are
  /// in neither list.
  static Choice choose(std::vector<Entry> entries, TimePoint cutOff, bool includesUndated);

  /// Returns "/t/files/a has no info file; /t/files/b has a date in the future; and 3 more".
  static std::string describe(const std::vector<Entry>& undated);

  /// `mounts` are the volumes whose trash is purged in addition to the home trash.
  FreedesktopTrash(TidraPathResolver resolver, std::vector<MountPoint> mounts);

  /// Returns the home trash, "$XDG_DATA_HOME/Trash".
  std::string homeTrash() const;

  /// Returns the trash for an item: the home trash on the same volume, else ".Trash-UID" at the top of the item's
  /// volume. Creates nothing. Throws std::system_error.
  Location locationFor(const HeldEntry& entry) const;

  /// Throws DisposalError or std::system_error if the item could not be trashed now. Creates nothing.
  void check(const HeldEntry& entry) const;

  /// Moves an item into its trash and returns its new path. `originalPath` is where file managers restore it. Throws as
  /// StoreRecords::moveIn() does.
  std::string trash(const HeldEntry& entry, const std::string& originalPath, TimePoint date);

  /// Returns the trashes that this object made and that are open to others, as everything on their volumes is.
  const std::set<std::string>& openStores() const { return openStores_; }

  /// Returns all entries of the home trash and those of other volumes, sorted by name, not measured. `notes` receives
  /// the skipped trashes and why.
  std::vector<Entry> list(TimePoint now, std::vector<std::string>& notes) const;

  /// Lists one trash directory, without info files whose items may be on their way. Throws DisposalError or
  /// std::system_error if it is unusable.
  static std::vector<Entry> listOf(const std::string& folder, TimePoint now);

  static void measure(std::vector<Entry>& entries);

  /// Moves an entry back to its original path, creating missing parent folders, never replacing anything. Throws
  /// DisposalError, UnsafePathError or std::system_error; the entry then stays in the trash, unless only its info file
  /// could not be removed: what() begins with "was restored" then.
  static void restore(const Entry& entry);

  /// Throws as restore() would if the original path is unknown, invalid or taken.
  static void checkRestore(const Entry& entry);

  /// Called before an item is removed, and after it is gone.
  struct Listener {
    std::function<void(const Entry&)> begins;
    std::function<void(const Entry&)> gone;
  };

  /// Removes entries and their info files. An item whose identity changed since the listing stays.
  [[nodiscard]] static Purged remove(const std::vector<Entry>& entries, const std::function<bool()>& shouldCancel = {});
  [[nodiscard]] static Purged remove(const std::vector<Entry>& entries, const std::function<bool()>& shouldCancel,
                                     const Listener& listener);

  /// Removes entries trashed more than this many days before `now`, by any program, and finishes interrupted removals.
  [[nodiscard]] Purged purge(std::int64_t olderThanDays, TimePoint now,
                             const std::function<bool()>& shouldCancel = {}) const;

  /// Percent-encodes a path for the "Path=" line of an info file.
  static std::string encodedPath(std::string_view path);

  /// The text of an info file. The date is written in local time.
  static std::string infoText(std::string_view originalPath, TimePoint date);

  /// Returns the absolute original path of an item in `trashFolder`; nullopt when missing or invalid.
  static std::optional<std::string> placeIn(std::string_view infoText, std::string_view trashFolder);

  /// Parses path or local date from an info file; nullopt when missing or invalid.
  static std::optional<std::string> pathOf(std::string_view infoText);
  static std::optional<TimePoint> dateOf(std::string_view infoText);

 private:
  struct Store {
    StoreFolder files;
    StoreFolder info;
  };

  std::string trashFolderFor(const HeldEntry& entry) const;
  std::vector<std::string> trashFolders() const;
  Store open(const std::string& folder);
  static Store openExisting(const std::string& folder);
  static bool mayBeInProgress(const Store& store, const std::string& name, TimePoint now);
  static Entry entryOf(const Store& store, const std::string& name, bool hasInfo, TimePoint now);
  static void removeOne(const Entry& entry, const std::function<bool()>& shouldCancel);

  TidraPathResolver resolver_;
  std::vector<MountPoint> mounts_;
  std::set<std::string> openStores_;
  StoreRecords::Numbers nextNumbers_;
};

}  // namespace tidra
