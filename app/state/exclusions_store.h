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
  /// The store must outlive this. `onNote` hears a sentence when what is stored is no list and was set aside.
  explicit ExclusionsStore(PreferencesStore& preferences, std::function<void(const std::string&)> onNote = {})
      : preferences_(preferences), onNote_(std::move(onNote)) {}

  /// The rows that decode; none when nothing is stored or what is stored is no list. Throws PreferencesError.
  std::vector<ExclusionEntry> load() const;

  /// Throws PreferencesError when some of what is stored cannot be read, so that load() may lack rows. Called before
  /// anything is removed: an exclusion that is not known must not count as one that is not there.
  void requireComplete() const;

  /// Adds a row and writes the whole list; false when there is one with this text already. Rows that do not decode,
  /// which another build may have written, stay as they are.
  bool add(const std::string& pathDisplay, ExclusionRowKind kind, TimePoint now);

  /// Removes the rows with this text and writes the whole list; false when there is none.
  bool remove(const std::string& pathDisplay);

 private:
  /// Edits the JSON array while nobody else can write; writes it when `edit` says that it changed something.
  bool change(const std::function<bool(nlohmann::json&)>& edit);

  PreferencesStore& preferences_;
  std::function<void(const std::string&)> onNote_;
};

}  // namespace tidra
