// How a record becomes JSON and comes back. Headers declare a codec with this file; sources implement it with
// core/base/json_fields.h.
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

/// Parses one document. Throws DecodingError that begins with `what` and tells line and column.
nlohmann::json parseJson(std::string_view text, const std::string& what);

/// The same for what others send, which may be made to fill the memory: at most `mostBytes`, nested at most 100 deep.
constexpr std::size_t mostForeignJsonBytes = 8 * 1024 * 1024;
nlohmann::json parseForeignJson(std::string_view text, const std::string& what,
                                std::size_t mostBytes = mostForeignJsonBytes);

/// parseForeignJson() that also refuses a key that stands twice in one object, of which one would silently not count.
nlohmann::json parseUnambiguousJson(std::string_view text, const std::string& what,
                                    std::size_t mostBytes = mostForeignJsonBytes);

/// Objects with sorted keys, slashes unescaped, malformed UTF-8 replaced; with an indentation of two when `pretty`.
std::string jsonText(const nlohmann::json& document, bool pretty);

}  // namespace tidra
