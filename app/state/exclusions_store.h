// The user's exclusions, kept between launches.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "app/state/preferences_store.h"
#include "core/scan/exclusion_entry.h"

namespace tidra {

class ExclusionsStore {
 public:
  /// The store must outlive this.
  explicit ExclusionsStore(PreferencesStore& preferences) : preferences_(preferences) {}

  /// Empty when nothing is stored or what is stored does not decode. Throws PreferencesError.
  std::vector<ExclusionEntry> load() const;

  /// Adds a row and writes the whole list; false when there is one with this text already.
  bool add(const std::string& pathDisplay, ExclusionRowKind kind, TimePoint now);

  /// Removes the rows with this text and writes the whole list; false when there is none.
  bool remove(const std::string& pathDisplay);

 private:
  /// Edits the list while nobody else can write; writes it when `edit` says that it changed something.
  bool change(const std::function<bool(std::vector<ExclusionEntry>&)>& edit);

  PreferencesStore& preferences_;
};

/// A random UUID (version 4) in upper case.
std::string makeUuid();

}  // namespace tidra
