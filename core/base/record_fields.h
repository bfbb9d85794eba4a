// One list of fields a record, from which its codec, its stream and its fast reader are made. A source that lists the
// fields of R defines the codec:
//
//   template <>
//   constexpr auto fieldsOf<R> = recordFields(field("bytes", &R::bytes), bytesField("path", &R::path));
//   template struct RecordCodec<R>;
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <functional>
#include <optional>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>

#include "core/base/canonical_json.h"
#include "core/base/compact_optional.h"
#include "core/base/json_fields.h"
#include "core/base/json_writer.h"
#include "core/base/text.h"

namespace tidra {

template <class Member>
struct RecordField {
  std::string_view key;  // null-terminated
  Member member;         // pointer to a data member
  bool mayBeMissing = false;
  bool isBytes = false;
};

/// A field that must be there, or that may be absent if its type is std::optional or CompactOptional.
template <class Member>
consteval RecordField<Member> field(std::string_view key, Member member) {
  return {key, member};
}

/// Decoding keeps the default of a missing field.
template <class Member>
consteval RecordField<Member> fieldOrDefault(std::string_view key, Member member) {
  return {key, member, true};
}

/// A text of any bytes. Unless it is UTF-8, `keyBytes` follows with the bytes in base64.
template <class Member>
consteval RecordField<Member> bytesField(std::string_view key, Member member) {
  return {key, member, false, true};
}

template <class Member>
consteval RecordField<Member> bytesFieldOrDefault(std::string_view key, Member member) {
  return {key, member, true, true};
}

inline constexpr std::string_view bytesSuffix = "Bytes";

/// The fields in the order in which they are decoded. They are written in the order of their keys.
template <class... Members>
consteval std::tuple<RecordField<Members>...> recordFields(RecordField<Members>... fields) {
  return {fields...};
}

/// Specialised with recordFields() for each record.
template <class Record>
constexpr int fieldsOf = 0;

template <class Record>
constexpr std::size_t fieldCount = std::tuple_size_v<std::remove_cvref_t<decltype(fieldsOf<Record>)>>;

namespace record_detail {

struct KeyPlace {
  std::string_view key;
  bool isBytes = false;
  std::size_t index = 0;  // in the list
};

/// Does not compile for keys that need escaping or of which two would be equal, the "Bytes" keys included.
template <class Record>
consteval auto sortedKeys() {
  std::array<KeyPlace, fieldCount<Record>> keys{};
  std::apply(
      [&](const auto&... field) {
        std::size_t index = 0;
        ((keys[index] = {field.key, field.isBytes, index}, ++index), ...);
      },
      fieldsOf<Record>);
  std::sort(keys.begin(), keys.end(), [](const KeyPlace& a, const KeyPlace& b) { return a.key < b.key; });
  for (std::size_t i = 0; i < keys.size(); ++i) {
    for (const char c : keys[i].key) {
      if (!isPlain(c)) throw "a key needs escaping";
    }
    if (i == 0) continue;
    const KeyPlace& before = keys[i - 1];
    if (keys[i].key == before.key) throw "a key stands twice";
    // The bytes follow their text at once, so no other key may belong between the two.
    const bool extends = before.isBytes && keys[i].key.starts_with(before.key);
    if (extends && keys[i].key.substr(before.key.size()) <= bytesSuffix) throw "a key collides with one of bytes";
  }
  return keys;
}

template <class Record>
constexpr auto keyOrder = sortedKeys<Record>();

}  // namespace record_detail

/// The fields in the order of their keys.
template <class Record, std::size_t index>
constexpr auto fieldAt = std::get<record_detail::keyOrder<Record>[index].index>(fieldsOf<Record>);

/// Returns the position of a key in sorted order. Does not compile for an unknown key.
template <class Record>
consteval std::size_t fieldIndex(std::string_view key) {
  std::size_t found = fieldCount<Record>;
  [&]<std::size_t... index>(std::index_sequence<index...>) {
    ((fieldAt<Record, index>.key == key ? void(found = index) : void()), ...);
  }
  (std::make_index_sequence<fieldCount<Record>>());
  if (found == fieldCount<Record>) throw "no such key";
  return found;
}

namespace record_detail {

template <class T>
constexpr bool isOptional = false;
template <class T>
constexpr bool isOptional<std::optional<T>> = true;
template <>
inline constexpr bool isOptional<CompactOptional> = true;

template <class T>
struct Present {
  using type = T;
};
template <class T>
struct Present<std::optional<T>> {
  using type = T;
};
template <>
struct Present<CompactOptional> {
  using type = std::int64_t;
};

template <class Record, std::size_t index>
using ValueAt = std::remove_cvref_t<decltype(std::declval<Record&>().*fieldAt<Record, index>.member)>;

/// A comma, the quoted key and a colon.
template <class Record, std::size_t index, bool ofBytes = false>
constexpr auto opening = [] {
  constexpr std::string_view key = fieldAt<Record, index>.key;
  constexpr std::string_view suffix = ofBytes ? bytesSuffix : std::string_view();
  std::array<char, key.size() + suffix.size() + 4> text{};
  std::size_t at = 0;
  for (const std::string_view piece : {std::string_view(",\""), key, suffix, std::string_view("\":")}) {
    for (const char c : piece) text[at++] = c;
  }
  return text;
}();

template <std::size_t index, class Record, class T>
void writeMember(JsonWriter& out, const T& value, bool& isFirst) {
  out.member(opening<Record, index>, std::exchange(isFirst, false));
  if constexpr (fieldAt<Record, index>.isBytes) {
    if (out.text(value)) return;
    out.member(opening<Record, index, true>, false);
    out.text(base64Encoded(value));
  } else {
    JsonCodec<T>::write(out, value);
  }
}

template <std::size_t index, class Record>
void writeField(JsonWriter& out, const Record& record, bool& isFirst) {
  const auto& value = record.*fieldAt<Record, index>.member;
  if constexpr (isOptional<ValueAt<Record, index>>) {
    if (value) writeMember<index, Record>(out, *value, isFirst);
  } else {
    writeMember<index, Record>(out, value, isFirst);
  }
}

template <bool isBytes, class T>
std::optional<T> foundIn(const JsonObjectReader& object, const char* key) {
  if constexpr (isBytes) {
    return object.optionalBytes(key);
  } else {
    return object.optional<T>(key);
  }
}

template <std::size_t index, class Record>
void decodeField(const JsonObjectReader& object, Record& record) {
  constexpr auto field = std::get<index>(fieldsOf<Record>);
  auto& value = record.*field.member;
  using Value = std::remove_reference_t<decltype(value)>;
  auto found = foundIn<field.isBytes, typename Present<Value>::type>(object, field.key.data());
  if constexpr (isOptional<Value>) {
    value = std::move(found);
  } else if (found) {
    value = std::move(*found);
  } else if (!field.mayBeMissing) {
    object.failMissing(field.key.data());
  }
}

template <std::size_t index, class Record, class Visit>
bool readField(CanonicalReader& reader, bool& isFirst, Visit& visit) {
  using Type = typename Present<ValueAt<Record, index>>::type;
  if (!reader.skipMember(opening<Record, index>, isFirst)) return isOptional<ValueAt<Record, index>>;
  std::conditional_t<std::is_same_v<Type, std::string>, std::string_view, Type> value{};
  if (!reader.read(value)) return false;
  visit(std::integral_constant<std::size_t, index>(), value);
  isFirst = false;
  return true;
}

}  // namespace record_detail

/// Writes the fields from `begin` up to `end`; the first one opens the object, and the caller ends it with
/// closeObject().
template <std::size_t begin, std::size_t end, class Record>
void writeFields(JsonWriter& out, const Record& record, bool& isFirst) {
  [&]<std::size_t... offset>(std::index_sequence<offset...>) {
    (record_detail::writeField<begin + offset>(out, record, isFirst), ...);
  }
  (std::make_index_sequence<end - begin>());
}

inline void closeObject(JsonWriter& out, bool isEmpty) { out.raw(isEmpty ? "{}" : "}"); }

/// Writes a record without the field at `omitted`.
template <std::size_t omitted, class Record>
void writeWithout(JsonWriter& out, const Record& record) {
  bool isFirst = true;
  writeFields<0, omitted>(out, record, isFirst);
  writeFields<omitted + 1, fieldCount<Record>>(out, record, isFirst);
  closeObject(out, isFirst);
}

/// Calls visit(std::integral_constant<std::size_t, index>, value) for each field that is there; of a text the value is
/// a view of what stands between its quotes. Returns false for anything that RecordCodec would not have written, and
/// for base64 of texts that are not UTF-8.
template <class Record, class Visit>
[[nodiscard]] bool readCanonical(CanonicalReader& reader, Visit&& visit) {
  bool isFirst = true;
  const bool isRead = [&]<std::size_t... index>(std::index_sequence<index...>) {
    return (record_detail::readField<index, Record>(reader, isFirst, visit) && ...);
  }
  (std::make_index_sequence<fieldCount<Record>>());
  return isRead && reader.skip(isFirst ? "{}" : "}");
}

template <class Record>
void RecordCodec<Record>::write(JsonWriter& out, const Record& record) {
  bool isFirst = true;
  writeFields<0, fieldCount<Record>>(out, record, isFirst);
  closeObject(out, isFirst);
}

template <class Record>
Record RecordCodec<Record>::decode(const nlohmann::json& value, const std::string& where) {
  return decode(value, where, Record());
}

template <class Record>
Record RecordCodec<Record>::decode(const nlohmann::json& value, const std::string& where, Record record) {
  const JsonObjectReader object(value, where);
  [&]<std::size_t... index>(std::index_sequence<index...>) { (record_detail::decodeField<index>(object, record), ...); }
  (std::make_index_sequence<fieldCount<Record>>());
  return record;
}

}  // namespace tidra
