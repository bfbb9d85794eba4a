// The user's exclusions, as a list to edit.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "app/state/exclusions_store.h"
#include "app/view/results_view.h"
#include "core/base/time_point.h"
#include "core/platform/path_resolver.h"
#include "core/scan/exclusion_entry.h"

namespace tidra {

/// Reads and writes the store at once: another process may do so too. Every method but entries() throws
/// PreferencesError.
class ExclusionsView {
 public:
  /// The store must outlive this.
  ExclusionsView(ExclusionsStore& store, TidraPathResolver resolver)
      : store_(store), resolver_(std::move(resolver)), entries_(store.load()) {}

  const std::vector<ExclusionEntry>& entries() const { return entries_; }

  struct Added {
    bool isNew = false;  // false: it was excluded already
    ExclusionEntry entry;
    std::string note;  // a warning sentence, such as that it matches nothing yet; empty: none
  };
  /// A text that the user typed: a folder or a pattern. Throws InputError for an unusable one.
  Added addTyped(const std::string& text, TimePoint now);
  /// A folder of the results, which may have special characters in its name.
  Added addFolder(const std::string& path, TimePoint now);
  /// Returns whether it was there.
  bool remove(const ExclusionEntry& entry);
  /// Reads the list again.
  void reload() { entries_ = store_.load(); }

  /// What an exclusion would leave out of a scan with these results.
  struct Effect {
    std::size_t rows = 0;
    std::int64_t freeableBytes = 0;  // a simple sum

    bool operator==(const Effect&) const = default;
  };
  /// Counts rows that the text excludes, and those that hold a place which it names. Rows with a match of a pattern
  /// somewhere in them stay too, but only a scan finds these. Reads the disk.
  Effect effectOf(const std::string& text, const ResultsView& results) const;
  /// Drops the paths that a scan would leave out now, and those that hold a place which the list names. Returns whether
  /// there were any. Reads the disk.
  bool eraseExcluded(std::set<std::string>& paths) const;

 private:
  Added add(TypedExclusion typed, TimePoint now);

  ExclusionsStore& store_;
  TidraPathResolver resolver_;
  std::vector<ExclusionEntry> entries_;
};

}  // namespace tidra
