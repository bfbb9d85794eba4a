// The preferences store for platforms without one: a JSON file, described in docs/state.md.
#pragma once

#include <functional>
#include <string>

#include "app/state/preferences_store.h"
#include "core/base/json_codec.h"

namespace tidra {

/// Reads the file on every call, so that it sees what other processes wrote. Changes are made under a lock file and
/// replace the file by an atomic rename: no process loses another's keys, and a crash leaves the old file or the new
/// one.
class FilePreferencesStore : public PreferencesStore {
 public:
  /// `onNote` is called with a sentence when the file is damaged: on the first read that finds it so, and when repair()
  /// sets it aside.
  FilePreferencesStore(std::string path, std::function<void(const std::string&)> onNote);

  std::optional<Value> value(const std::string& key) const override;
  bool isDamaged() const override;
  void repair() override;
  void transact(const std::function<Changes()>& prepare, const std::function<void()>& finish) override;

  /// Removes temporary files of processes that were killed while replacing this file. Call under a lock that every
  /// writer takes: no temporary file is in use then.
  static void removeLeftovers(const std::string& path);

 private:
  std::optional<nlohmann::json> load() const;
  void locked(const std::function<void()>& act) const;

  std::string path_;
  std::function<void(const std::string&)> onNote_;
  mutable bool damageReported_ = false;
};

}  // namespace tidra
