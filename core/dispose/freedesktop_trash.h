// The trash of Linux desktops, so that file managers show and restore what Tidra put there.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "core/base/time_point.h"
#include "core/dispose/quarantine.h"
#include "core/dispose/volumes.h"
#include "core/platform/held_folder.h"
#include "core/platform/mount_table.h"
#include "core/platform/path_resolver.h"

namespace tidra {

class FreedesktopTrash {
 public:
  /// The two folders of a trash.
  struct Location {
    std::string files;
    std::string info;

    bool operator==(const Location&) const = default;
  };

  struct Purged {
    std::vector<std::string> paths;  // of what is gone for good
    std::vector<TidraDeletionFailure> failures;
    std::vector<std::string> notes;  // what was passed over and why, for people
  };

  /// `mounts` are the volumes whose trash is purged besides that of the home folder.
  FreedesktopTrash(TidraPathResolver resolver, std::vector<MountPoint> mounts);

  /// The trash of the home folder.
  std::string homeTrash() const;

  /// The trash that an item belongs in: that of the home folder, or ".Trash-" and the user's number at the top of the
  /// item's own volume. Makes nothing. Throws std::system_error.
  Location locationFor(const HeldEntry& entry) const;

  /// Throws DisposalError or std::system_error when the item could not be trashed now. Makes nothing.
  void check(const HeldEntry& entry) const;

  /// Moves one item into its trash and gives its new path. `originalPath` is where a file manager restores it to. The
  /// info file is there before the item moves, and is removed again when the move fails. Throws DisposalError,
  /// UnsafePathError or std::system_error; the item is in its place then.
  std::string trash(const HeldEntry& entry, const std::string& originalPath, TimePoint date);

  /// Removes what was trashed more than this many days before `now`, whoever trashed it.
  [[nodiscard]] Purged purge(std::int64_t olderThanDays, TimePoint now,
                             const std::function<bool()>& shouldCancel = {}) const;

  /// Removes what was trashed before this moment, and finishes removals that were cut short.
  [[nodiscard]] Purged purgeBefore(TimePoint cutOff, const std::function<bool()>& shouldCancel = {}) const;

  /// What purgeBefore() would remove. `notes` gets what it would pass over and why.
  std::vector<std::string> olderThan(TimePoint cutOff, std::vector<std::string>& notes) const;

  /// The path as the "Path=" line of an info file has it.
  static std::string encodedPath(std::string_view path);

  /// The path of an info file's text, or its date in local time; none when there is no such line or it makes no sense.
  static std::optional<std::string> pathOf(std::string_view infoText);
  static std::optional<TimePoint> dateOf(std::string_view infoText);

 private:
  struct Store {
    StoreFolder files;
    StoreFolder info;
  };
  struct Entry {
    std::string name;
    TimePoint date{};
  };

  std::string trashFolderFor(const HeldEntry& entry) const;
  std::vector<std::string> trashFolders() const;
  /// Does something with each trash folder. One that cannot be used gives a note; one that is empty gives nothing.
  void forEachTrash(std::vector<std::string>& notes, const std::function<void(const Store&)>& act) const;
  Store open(const std::string& folder) const;
  static Store openExisting(const std::string& folder);
  std::string reserve(const Store& store, const std::string& stem, const std::string& text);
  static std::vector<Entry> entries(const Store& store, TimePoint cutOff);
  static void purgeStore(const Store& store, TimePoint cutOff, const std::function<bool()>& shouldCancel,
                         Purged& purged);

  TidraPathResolver resolver_;
  std::vector<MountPoint> mounts_;
  std::map<std::string, int>
      nextNumbers_;  // by info folder and name, so that equal names are not tried again and again
};

}  // namespace tidra
