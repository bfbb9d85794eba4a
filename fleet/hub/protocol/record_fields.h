// One list of fields a record for both directions: a function visits them, and one of these takes its calls.
#pragma once

#include <concepts>
#include <optional>
#include <type_traits>
#include <utility>

#include "core/base/json_fields.h"
#include "fleet/hub/protocol/record_codec.h"

namespace tidra {

/// Adds each field to an object; an optional one only when it is there.
class FieldWriter {
 public:
  explicit FieldWriter(nlohmann::json& object) : object_(object) {
    if (object_.is_null()) object_ = nlohmann::json::object();
  }

  template <class T>
  void operator()(const char* key, const T& value) const {
    object_[key] = JsonCodec<T>::encode(value);
  }
  template <class T>
  void operator()(const char* key, const std::optional<T>& value) const {
    putOptional(object_, key, value);
  }

 private:
  nlohmann::json& object_;
};

/// Reads each field. A missing one throws DecodingError unless it is optional.
class FieldReader {
 public:
  explicit FieldReader(JsonObjectReader reader) : reader_(std::move(reader)) {}

  template <class T>
  void operator()(const char* key, T& value) const {
    value = reader_.required<T>(key);
  }
  template <class T>
  void operator()(const char* key, std::optional<T>& value) const {
    value = reader_.optional<T>(key);
  }

 private:
  JsonObjectReader reader_;
};

/// Reads each field that is there; the others keep what they hold.
class TolerantFieldReader {
 public:
  explicit TolerantFieldReader(JsonObjectReader reader) : reader_(std::move(reader)) {}

  template <class T>
  void operator()(const char* key, T& value) const {
    if (auto found = reader_.optional<T>(key)) value = std::move(*found);
  }
  template <class T>
  void operator()(const char* key, std::optional<T>& value) const {
    value = reader_.optional<T>(key);
  }

 private:
  JsonObjectReader reader_;
};

/// A record or a constant one: a function visitFields(FieldsOf<R> auto&, auto&& visit) names the fields of R. It is
/// found by its argument's namespace, so it must not lie in an unnamed one.
template <class Record, class R>
concept FieldsOf = std::same_as<std::remove_const_t<Record>, R>;

/// A source that lists the fields of a record makes its codec with "template struct FieldCodec<R>;".
template <class Record>
nlohmann::json FieldCodec<Record>::encode(const Record& record) {
  nlohmann::json object;
  visitFields(record, FieldWriter(object));
  return object;
}

template <class Record>
Record FieldCodec<Record>::decode(const nlohmann::json& value, const std::string& where) {
  Record record;
  visitFields(record, FieldReader(JsonObjectReader(value, where)));
  return record;
}

}  // namespace tidra
