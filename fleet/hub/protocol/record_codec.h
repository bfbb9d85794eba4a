// The codec of records that are nothing but their fields. fleet/hub/protocol/record_fields.h implements it.
#pragma once

#include <string>

#include "core/base/json_codec.h"

namespace tidra {

/// What JsonCodec<Record> derives from, beside the record. Decoding needs every key that is not optional.
template <class Record>
struct FieldCodec {
  static nlohmann::json encode(const Record& record);
  static Record decode(const nlohmann::json& value, const std::string& where);
};

}  // namespace tidra
