// JSON codecs of records. Headers declare a codec with this file; sources implement it with json_fields.h.
#pragma once

#include <cstddef>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>

namespace tidra {

/// Specialised per record:
///   static nlohmann::json encode(const T&);
///   static T decode(const nlohmann::json&, const std::string& where);   throws DecodingError that begins with `where`
template <class T>
struct JsonCodec;

/// Parses one document. Throws DecodingError that begins with `what` and names line and column.
nlohmann::json parseJson(std::string_view text, const std::string& what);

/// parseJson() for untrusted input: bounds the size to `mostBytes` and the nesting to 100 levels.
constexpr std::size_t mostForeignJsonBytes = 8 * 1024 * 1024;
nlohmann::json parseForeignJson(std::string_view text, const std::string& what,
                                std::size_t mostBytes = mostForeignJsonBytes);

/// parseForeignJson() that also refuses duplicate keys: readers differ in which one wins.
nlohmann::json parseUnambiguousJson(std::string_view text, const std::string& what,
                                    std::size_t mostBytes = mostForeignJsonBytes);

/// Serialises with sorted keys, unescaped slashes and U+FFFD for malformed UTF-8; indented by two when `pretty`.
std::string jsonText(const nlohmann::json& document, bool pretty);

}  // namespace tidra
