// The codecs of plain values, and typed reading of fields with messages that name the place.
#pragma once

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "core/base/enum_table.h"
#include "core/base/errors.h"
#include "core/base/json_codec.h"
#include "core/base/json_writer.h"
#include "core/base/text.h"
#include "core/base/time_point.h"

namespace tidra {

template <>
struct JsonCodec<std::string> {
  static void write(JsonWriter& out, const std::string& text) { out.text(text); }
  static std::string decode(const nlohmann::json& value, const std::string& where);
};

template <>
struct JsonCodec<bool> {
  static void write(JsonWriter& out, bool value) { out.raw(value ? "true" : "false"); }
  static bool decode(const nlohmann::json& value, const std::string& where);
};

template <>
struct JsonCodec<double> {
  static void write(JsonWriter& out, double value) { out.number(value); }
  static double decode(const nlohmann::json& value, const std::string& where);
};

template <>
struct JsonCodec<std::int64_t> {
  static void write(JsonWriter& out, std::int64_t value) { out.number(value); }
  static std::int64_t decode(const nlohmann::json& value, const std::string& where);
};

template <>
struct JsonCodec<int> {
  static void write(JsonWriter& out, int value) { out.number(value); }
  static int decode(const nlohmann::json& value, const std::string& where);
};

template <>
struct JsonCodec<std::uint64_t> {
  static void write(JsonWriter& out, std::uint64_t value) { out.number(value); }
  static std::uint64_t decode(const nlohmann::json& value, const std::string& where);
};

template <>
struct JsonCodec<TimePoint> {
  static void write(JsonWriter& out, TimePoint time) { out.time(time); }
  static TimePoint decode(const nlohmann::json& value, const std::string& where);
};

template <TabledEnum E>
struct JsonCodec<E> {
  static void write(JsonWriter& out, E value) { out.text(rawValue(value)); }
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

template <class Range>
void writeArray(JsonWriter& out, const Range& values) {
  bool isFirst = true;
  for (const auto& value : values) {
    out.raw(std::exchange(isFirst, false) ? "[" : ",");
    JsonCodec<typename Range::value_type>::write(out, value);
  }
  out.raw(isFirst ? "[]" : "]");
}

template <class T>
struct JsonCodec<std::vector<T>> {
  static void write(JsonWriter& out, const std::vector<T>& values) { writeArray(out, values); }
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
  static void write(JsonWriter& out, const std::set<T>& values) { writeArray(out, values); }
  static std::set<T> decode(const nlohmann::json& value, const std::string& where) {
    const auto values = JsonCodec<std::vector<T>>::decode(value, where);
    return {values.begin(), values.end()};
  }
};

/// The map with U+FFFD in its keys. Of keys that become one, lists are joined; of other values the last one stays.
template <class T>
std::map<std::string, T> withReadableKeys(const std::map<std::string, T>& values) {
  std::map<std::string, T> readable;
  for (const auto& [key, value] : values) {
    T& place = readable[replacingInvalidUtf8(key)];
    if constexpr (requires(T list) { list.push_back(list[0]); } && !std::is_same_v<T, std::string>) {
      place.insert(place.end(), value.begin(), value.end());
    } else {
      place = value;
    }
  }
  return readable;
}

template <class T>
struct JsonCodec<std::map<std::string, T>> {
  static void write(JsonWriter& out, const std::map<std::string, T>& values) {
    if (!std::all_of(values.begin(), values.end(), [](const auto& member) { return isValidUtf8(member.first); })) {
      return write(out, withReadableKeys(values));
    }
    for (const auto& [key, value] : values) {
      out.raw(&key == &values.begin()->first ? "{" : ",");
      out.text(key);
      out.raw(":");
      JsonCodec<T>::write(out, value);
    }
    out.raw(values.empty() ? "{}" : "}");
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
    if (value == nullptr) failMissing(key);
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
  std::optional<std::string> optionalBytes(const char* key) const;

  [[noreturn]] void failMissing(const char* key) const;

  const std::string& where() const { return where_; }

 private:
  const nlohmann::json* find(const char* key) const;
  std::string place(std::string_view key) const;

  const nlohmann::json& object_;
  std::string where_;
};

/// The value as a tree of JSON values.
template <class T>
nlohmann::json toJson(const T& value) {
  return parseJson(compactJson(value), "the value");
}

}  // namespace tidra
