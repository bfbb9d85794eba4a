// The one set of JSON helpers: typed reading of fields with messages that name the place, and writing that omits what
// is absent and keeps bytes that are not text.
#pragma once

#include <fmt/format.h>

#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "core/base/enum_table.h"
#include "core/base/errors.h"
#include "core/base/json_codec.h"
#include "core/base/time_point.h"

namespace tidra {

template <>
struct JsonCodec<std::string> {
  static nlohmann::json encode(const std::string& text);
  static std::string decode(const nlohmann::json& value, const std::string& where);
};

template <>
struct JsonCodec<bool> {
  static nlohmann::json encode(bool value);
  static bool decode(const nlohmann::json& value, const std::string& where);
};

template <>
struct JsonCodec<double> {
  static nlohmann::json encode(double value);
  static double decode(const nlohmann::json& value, const std::string& where);
};

template <>
struct JsonCodec<std::int64_t> {
  static nlohmann::json encode(std::int64_t value);
  static std::int64_t decode(const nlohmann::json& value, const std::string& where);
};

template <>
struct JsonCodec<int> {
  static nlohmann::json encode(int value);
  static int decode(const nlohmann::json& value, const std::string& where);
};

template <>
struct JsonCodec<std::uint64_t> {
  static nlohmann::json encode(std::uint64_t value);
  static std::uint64_t decode(const nlohmann::json& value, const std::string& where);
};

template <>
struct JsonCodec<TimePoint> {
  static nlohmann::json encode(TimePoint time);
  static TimePoint decode(const nlohmann::json& value, const std::string& where);
};

template <TabledEnum E>
struct JsonCodec<E> {
  static nlohmann::json encode(E value) { return std::string(rawValue(value)); }
  static E decode(const nlohmann::json& value, const std::string& where) {
    const std::string text = JsonCodec<std::string>::decode(value, where);
    if (const auto known = fromRawValue<E>(text)) return *known;
    throw DecodingError(
        fmt::format("{}: unknown {} '{}' (known: {})", where, EnumTable<E>::name, text, rawValueList<E>()));
  }
};

/// Throws DecodingError unless the value is an array or an object.
void requireArray(const nlohmann::json& value, const std::string& where);
void requireObject(const nlohmann::json& value, const std::string& where);

template <class T>
struct JsonCodec<std::vector<T>> {
  static nlohmann::json encode(const std::vector<T>& values) {
    auto array = nlohmann::json::array();
    for (const T& value : values) array.push_back(JsonCodec<T>::encode(value));
    return array;
  }
  static std::vector<T> decode(const nlohmann::json& value, const std::string& where) {
    requireArray(value, where);
    std::vector<T> values;
    values.reserve(value.size());
    for (std::size_t i = 0; i < value.size(); ++i) {
      values.push_back(JsonCodec<T>::decode(value[i], fmt::format("{}[{}]", where, i)));
    }
    return values;
  }
};

template <class T>
struct JsonCodec<std::set<T>> {
  static nlohmann::json encode(const std::set<T>& values) {
    return JsonCodec<std::vector<T>>::encode({values.begin(), values.end()});
  }
  static std::set<T> decode(const nlohmann::json& value, const std::string& where) {
    const auto values = JsonCodec<std::vector<T>>::decode(value, where);
    return {values.begin(), values.end()};
  }
};

template <class T>
struct JsonCodec<std::map<std::string, T>> {
  static nlohmann::json encode(const std::map<std::string, T>& values) {
    auto object = nlohmann::json::object();
    for (const auto& [key, value] : values) {
      object[JsonCodec<std::string>::encode(key).template get<std::string>()] = JsonCodec<T>::encode(value);
    }
    return object;
  }
  static std::map<std::string, T> decode(const nlohmann::json& value, const std::string& where) {
    requireObject(value, where);
    std::map<std::string, T> values;
    for (const auto& [key, member] : value.items()) {
      values.emplace(key, JsonCodec<T>::decode(member, fmt::format("{}.{}", where, key)));
    }
    return values;
  }
};

/// Reads the fields of one object. `where` is its place in the document for error messages.
class JsonObjectReader {
 public:
  /// `object` must outlive this. Throws DecodingError when it is not an object.
  JsonObjectReader(const nlohmann::json& object, std::string where);

  /// Throws DecodingError when the key is missing or null.
  template <class T>
  T required(const char* key) const {
    const nlohmann::json* value = find(key);
    if (value == nullptr) throw DecodingError(place(key) + " is missing");
    return JsonCodec<T>::decode(*value, place(key));
  }

  /// Returns nullopt when the key is missing or null.
  template <class T>
  std::optional<T> optional(const char* key) const {
    const nlohmann::json* value = find(key);
    if (value == nullptr) return std::nullopt;
    return JsonCodec<T>::decode(*value, place(key));
  }

  template <class T>
  T valueOr(const char* key, T fallback) const {
    auto value = optional<T>(key);
    return value ? std::move(*value) : std::move(fallback);
  }

  /// A text that may be any bytes: the exact bytes of `key` + "Bytes" when they are there, else the text of `key`.
  std::string requiredBytes(const char* key) const;
  std::optional<std::string> optionalBytes(const char* key) const;

  const std::string& where() const { return where_; }

 private:
  const nlohmann::json* find(const char* key) const;
  std::string place(std::string_view key) const;

  const nlohmann::json& object_;
  std::string where_;
};

/// Adds the field unless it is absent.
template <class T>
void putOptional(nlohmann::json& object, const char* key, const std::optional<T>& value) {
  if (value) object[key] = JsonCodec<T>::encode(*value);
}

/// Adds a text that may be any bytes: readable under `key`, and when that is not exact, base64 under `key` + "Bytes".
void putBytes(nlohmann::json& object, const char* key, const std::string& bytes);

/// The same for an array of such texts: when one of them is not exact, all of them, in the same order, under
/// `key` + "Bytes".
void putByteList(nlohmann::json& object, const char* key, const std::vector<std::string>& values);

}  // namespace tidra
