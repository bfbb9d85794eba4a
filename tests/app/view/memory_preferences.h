// A store of preferences in memory.
#pragma once

#include <map>

#include "app/state/preferences_store.h"

namespace tidra {

class MemoryStore : public PreferencesStore {
 public:
  std::optional<Value> value(const std::string& key) const override {
    const auto found = values_.find(key);
    return found == values_.end() ? std::nullopt : std::optional(found->second);
  }
  void transact(const std::function<Changes()>& prepare, const std::function<void()>& finish) override {
    for (const auto& [key, value] : prepare()) {
      values_.erase(key);
      if (value) values_.emplace(key, *value);
    }
    finish();
  }

 private:
  std::map<std::string, Value> values_;
};

}  // namespace tidra
