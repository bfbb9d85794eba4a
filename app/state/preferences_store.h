// The per-user store of named values that the application keeps between launches.
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

/// The store cannot be read or written. what() is the sentence for people.
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

  /// Absent when there is no such key. Throws PreferencesError when the store cannot be read.
  virtual std::optional<Value> value(const std::string& key) const = 0;

  /// Makes all changes or none. Other keys stay, whoever wrote them. Throws PreferencesError when nothing could be
  /// changed.
  virtual void apply(const Changes& changes) = 0;

  /// Changes one key by what it holds, while nobody else can write. `change` is given the present value, if any, and
  /// gives the new one, or none to leave the key as it is. Throws as apply() does, and whatever `change` throws.
  virtual void update(const std::string& key,
                      const std::function<std::optional<Value>(const std::optional<Value>&)>& change) = 0;

  /// A value of one kind; absent when the key is absent or of another kind.
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
