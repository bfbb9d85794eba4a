// JSON encoding and decoding of the hub's documents.
#pragma once

#include <string>
#include <string_view>

#include "core/base/json_fields.h"

namespace tidra {

/// Keys are sorted, slashes unescaped, dates ISO 8601 in UTC and whole seconds, absent values omitted. Invalid UTF-8
/// becomes U+FFFD.
struct HubJSON {
  template <class T>
  static std::string compact(const T& document) {
    return compactJson(document);
  }

  template <class T>
  static std::string pretty(const T& document) {
    return prettyJson(document);
  }

  /// Throws DecodingError, which begins with `what`, for a text that is not such a document, longer than `mostBytes` or
  /// nested deeper than 100 levels.
  template <class T>
  static T decode(std::string_view text, const std::string& what, std::size_t mostBytes = mostForeignJsonBytes) {
    return JsonCodec<T>::decode(parseForeignJson(text, what, mostBytes), what);
  }
};

}  // namespace tidra
