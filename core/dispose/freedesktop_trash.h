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

  /// What says when an entry was trashed.
  enum class Dating { dated, leftover, noInfoFile, noDate, future };

  /// Something in the folder "files", or an info file whose item is gone.
  struct Entry {
    std::string path;  // in "files"
    Dating dating = Dating::dated;
    TimePoint date{};                      // of its trashing; only when it is dated
    std::optional<FileIdentity> identity;  // absent when there is no item
    std::int64_t bytes = 0;                // 0 until measure()

    /// True when it was trashed before that moment. A removal that was cut short is due at any time; an entry that
    /// nothing dates reliably never is.
    bool isDue(TimePoint cutOff) const { return dating == Dating::leftover || (isDated() && date < cutOff); }
    bool isDated() const { return dating == Dating::dated; }
    bool isUnlisted() const { return !isDated() && dating != Dating::leftover; }
    /// Why purging by age passes it over: "has no info file".
    std::string_view fault() const;
  };

  struct Purged {
    std::vector<std::string> paths;  // of what is gone for good
    std::vector<TidraDeletionFailure> failures;
    std::vector<std::string> notes;  // what was passed over and why, for people
    std::size_t notBegun = 0;        // entries that cancelling left

    Purged& operator+=(Purged other);
  };

  /// What purging removes. Every way to empty a trash goes by choose().
  struct Choice {
    std::vector<Entry> due;
    std::vector<Entry> unlisted;  // these stay, because nothing says when they were trashed
  };

  /// Due is what was trashed before `cutOff`, and with `includesUnlisted` what nothing dates. What is neither due nor
  /// unlisted was trashed later and is in neither list.
  static Choice choose(std::vector<Entry> entries, TimePoint cutOff, bool includesUnlisted);

  /// "/t/files/a has no info file; /t/files/b has a date in the future; and 3 more", for people.
  static std::string listed(const std::vector<Entry>& unlisted);

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

  /// Everything in the trash of the home folder and in those of other volumes, by name, not measured. Dates after `now`
  /// lie in the future. `notes` gets the trashes that are passed over and why.
  std::vector<Entry> list(TimePoint now, std::vector<std::string>& notes) const;

  /// The same of one trash, by its folder. Throws DisposalError or std::system_error when it cannot be used.
  static std::vector<Entry> listOf(const std::string& folder, TimePoint now);

  static void measure(std::vector<Entry>& entries);

  /// Removes these entries as they were listed, and their info files; something else in an item's place stays.
  [[nodiscard]] static Purged remove(const std::vector<Entry>& entries, const std::function<bool()>& shouldCancel = {});

  /// Removes what was trashed more than this many days before `now`, whoever trashed it, and finishes removals that
  /// were cut short.
  [[nodiscard]] Purged purge(std::int64_t olderThanDays, TimePoint now,
                             const std::function<bool()>& shouldCancel = {}) const;

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

  std::string trashFolderFor(const HeldEntry& entry) const;
  std::vector<std::string> trashFolders() const;
  Store open(const std::string& folder) const;
  static Store openExisting(const std::string& folder);
  std::string reserve(const Store& store, const std::string& stem, const std::string& text);
  static Entry entryOf(const Store& store, const std::string& name, bool hasInfo, TimePoint now);
  static void removeOne(const Entry& entry, const std::function<bool()>& shouldCancel);

  TidraPathResolver resolver_;
  std::vector<MountPoint> mounts_;
  std::map<std::string, int>
      nextNumbers_;  // by info folder and name, so that equal names are not tried again and again
};

}  // namespace tidra
