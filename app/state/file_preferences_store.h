// The preferences store where the platform has none: one JSON file. docs/state.md is the format's document.
#pragma once

#include <functional>
#include <string>

#include "app/state/preferences_store.h"
#include "core/base/json_codec.h"

namespace tidra {

/// Reads the file anew for every question, so that it sees what other processes wrote. Changes are made under a lock
/// beside the file and replace it whole, so that two processes never lose each other's keys and a crash leaves the old
/// file or the new one.
class FilePreferencesStore : public PreferencesStore {
 public:
  /// `onNote` hears a sentence when the file is damaged: from the first reading that meets it, and when a change sets
  /// it aside.
  FilePreferencesStore(std::string path, std::function<void(const std::string&)> onNote);

  std::optional<Value> value(const std::string& key) const override;
  bool isDamaged() const override;
  void transact(const std::function<Changes()>& prepare, const std::function<void()>& finish) override;

 private:
  std::optional<nlohmann::json> load() const;
  void setDamagedAside() const;
  void removeLeftovers() const;

  std::string path_;
  std::function<void(const std::string&)> onNote_;
  mutable bool toldOfDamage_ = false;
};

}  // namespace tidra
