// The user's exclusions, kept between launches.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "app/state/preferences_store.h"
#include "core/base/json_codec.h"
#include "core/scan/exclusion_entry.h"

namespace tidra {

class ExclusionsStore {
 public:
  /// The store must outlive this. `onNote` is called with a sentence when a stored value that is no list was set aside.
  explicit ExclusionsStore(PreferencesStore& preferences, std::function<void(const std::string&)> onNote = {})
      : preferences_(preferences), onNote_(std::move(onNote)) {}

  /// Returns the rows that decode; empty when nothing, or no list, is stored. Throws PreferencesError.
  std::vector<ExclusionEntry> load() const;

  /// Throws PreferencesError when a stored row cannot be read, so that load() may lack rows. Called before removing: an
  /// unreadable exclusion must not count as absent.
  void requireComplete() const;

  /// Adds a row and writes the whole list; returns false when a row with this text exists. Rows that do not decode,
  /// such as those of another version, are kept.
  bool add(const std::string& pathDisplay, ExclusionRowKind kind, TimePoint now);

  /// Removes the rows with this text and writes the whole list; returns false when there is none.
  bool remove(const std::string& pathDisplay);

 private:
  /// Edits the JSON array under the store's lock; writes it when `edit` returns true.
  bool change(const std::function<bool(nlohmann::json&)>& edit);

  PreferencesStore& preferences_;
  std::function<void(const std::string&)> onNote_;
};

}  // namespace tidra
