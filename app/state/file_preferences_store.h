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
  /// `onNote` hears one sentence when a damaged file was set aside.
  FilePreferencesStore(std::string path, std::function<void(const std::string&)> onNote);

  std::optional<Value> value(const std::string& key) const override;
  void apply(const Changes& changes) override;
  void update(const std::string& key,
              const std::function<std::optional<Value>(const std::optional<Value>&)>& change) override;

 private:
  void rewrite(const std::function<bool(nlohmann::json&)>& change);
  nlohmann::json load(bool mayRepair) const;

  std::string path_;
  std::function<void(const std::string&)> onNote_;
};

}  // namespace tidra
