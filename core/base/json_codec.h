// JSON codecs of records. Headers declare a codec with this file; sources implement it with record_fields.h.
#pragma once

#include <cstddef>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>

#include "core/base/byte_units.h"

namespace tidra {

class JsonWriter;

/// Specialised per type:
///   static void write(JsonWriter& out, const T&);
///   static T decode(const nlohmann::json&, const std::string& where);   throws DecodingError that begins with `where`
template <class T>
struct JsonCodec;

/// What JsonCodec<Record> derives from, beside the record; core/base/record_fields.h makes it from the list of fields.
/// The header also declares `extern template struct RecordCodec<Record>;`, since the list is in a source.
template <class Record>
struct RecordCodec {
  static void write(JsonWriter& out, const Record& record);
  static Record decode(const nlohmann::json& value, const std::string& where);
  /// Fields that are missing and need not be there stay as they are in `record`.
  static Record decode(const nlohmann::json& value, const std::string& where, Record record);
};

/// Parses one document. Throws DecodingError that begins with `what` and names line and column.
nlohmann::json parseJson(std::string_view text, const std::string& what);

/// parseJson() for untrusted input: bounds the size to `mostBytes` and the nesting to 100 levels.
constexpr std::size_t mostForeignJsonBytes = 8_MiB;
nlohmann::json parseForeignJson(std::string_view text, const std::string& what,
                                std::size_t mostBytes = mostForeignJsonBytes);

/// parseForeignJson() that also refuses duplicate keys: readers differ in which one wins.
nlohmann::json parseUnambiguousJson(std::string_view text, const std::string& what,
                                    std::size_t mostBytes = mostForeignJsonBytes);

/// Serialises with sorted keys, unescaped slashes and U+FFFD for malformed UTF-8; indented by two when `pretty`.
std::string jsonText(const nlohmann::json& document, bool pretty);

}  // namespace tidra
