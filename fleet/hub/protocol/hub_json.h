// The one way in which documents of the hub become text and come back.
#pragma once

#include <string>
#include <string_view>

#include "core/base/json_fields.h"

namespace tidra {

/// Objects have sorted keys, slashes are not escaped, dates are ISO 8601 in UTC and whole seconds, and what is absent
/// is left out. Texts that are not UTF-8 come out with U+FFFD; nothing throws for them.
struct HubJSON {
  template <class T>
  static std::string compact(const T& document) {
    return jsonText(JsonCodec<T>::encode(document), false);
  }

  template <class T>
  static std::string pretty(const T& document) {
    return jsonText(JsonCodec<T>::encode(document), true);
  }

  /// Throws DecodingError, which begins with `what`, for text that is no such document, that is longer than `mostBytes`
  /// or nested deeper than 100 levels.
  template <class T>
  static T decode(std::string_view text, const std::string& what, std::size_t mostBytes = mostForeignJsonBytes) {
    return JsonCodec<T>::decode(parseForeignJson(text, what, mostBytes), what);
  }
};

}  // namespace tidra
