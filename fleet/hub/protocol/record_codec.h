// The codec of records that are nothing but their fields. fleet/hub/protocol/record_fields.h implements it.
#pragma once

#include <string>

#include "core/base/json_codec.h"

namespace tidra {

/// Specialised as true for each such record, beside it.
template <class Record>
inline constexpr bool isFieldRecord = false;

/// Decoding needs every key that is not optional.
template <class Record>
requires isFieldRecord<Record>
struct JsonCodec<Record> {
  static nlohmann::json encode(const Record& record);
  static Record decode(const nlohmann::json& value, const std::string& where);
};

}  // namespace tidra
