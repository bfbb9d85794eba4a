// The per-user store of named values that persist between launches.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

#include "core/base/time_point.h"

namespace tidra {

/// The store cannot be read or written. what() is a sentence for people.
class PreferencesError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class PreferencesStore {
 public:
  /// Bytes, a boolean or a date.
  using Value = std::variant<std::string, bool, TimePoint>;
  /// New values by key; none removes the key.
  using Changes = std::map<std::string, std::optional<Value>>;

  virtual ~PreferencesStore() = default;

  /// Absent when the key does not exist. Throws PreferencesError when the store cannot be read.
  virtual std::optional<Value> value(const std::string& key) const = 0;

  /// True when the store exists but does not parse, so that stored keys are lost. Throws PreferencesError when it
  /// cannot be read.
  virtual bool isDamaged() const { return false; }

  /// Sets a damaged store aside, so that changes begin a new one; does nothing otherwise. Throws PreferencesError. Only
  /// for what the user does about the lost keys: until then the damage keeps exclusions from counting as absent.
  virtual void repair() {}

  /// A transaction under the store's lock: runs `prepare`, applies the changes it returns, all or none, then runs
  /// `finish`. Keys that are not named are kept. Throws PreferencesError when nothing could be changed, also for a
  /// damaged store, and what the two functions throw; an exception of `finish` undoes nothing.
  virtual void transact(const std::function<Changes()>& prepare, const std::function<void()>& finish) = 0;

  /// Applies all changes or none. Throws PreferencesError.
  void apply(const Changes& changes) {
    transact([&] { return changes; }, [] {});
  }

  /// A value of one type; absent when the key is absent or has another type.
  std::optional<std::string> bytes(const std::string& key) const { return valueAs<std::string>(key); }
  std::optional<bool> boolean(const std::string& key) const { return valueAs<bool>(key); }
  std::optional<TimePoint> date(const std::string& key) const { return valueAs<TimePoint>(key); }

 private:
  template <class T>
  std::optional<T> valueAs(const std::string& key) const {
    const auto found = value(key);
    if (!found || !std::holds_alternative<T>(*found)) return std::nullopt;
    return std::get<T>(*found);
  }
};

/// Where the application keeps its files on a platform.
struct StateFolders {
  std::string preferences;      // folder of the preferences file
  std::string applicationData;  // folder of larger files
};

}  // namespace tidra
