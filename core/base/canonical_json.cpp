#include "core/base/canonical_json.h"

#include "core/base/plain_text.h"
#include "core/base/text.h"

namespace tidra {

bool CanonicalReader::read(std::string_view& text) {
  if (!skip("\"")) return false;
  const char* const start = at_;
  bool isAscii = true;
  while (true) {
    at_ += plainLength(rest());
    if (at_ == end_) return false;
    const unsigned char c = static_cast<unsigned char>(*at_);
    if (c == '"') break;
    if (c < ' ' || (c == '\\' && !skipEscape())) return false;
    if (c >= 0x80) isAscii = false;
    if (c != '\\') ++at_;
  }
  text = {start, static_cast<std::size_t>(at_ - start)};
  ++at_;
  return isAscii || isValidUtf8(text);
}

bool CanonicalReader::read(TimePoint& time) {
  constexpr std::size_t quotedLength = 22;
  if (rest().size() < quotedLength || at_[0] != '"' || at_[quotedLength - 1] != '"') return false;
  const auto exact = fromExactIso8601({at_ + 1, quotedLength - 2});
  if (exact) time = *exact;
  at_ += quotedLength;
  return exact.has_value();
}

bool CanonicalReader::skipEscape() {
  for (const std::string_view named : {"\\\"", "\\\\", "\\n", "\\t", "\\r", "\\b", "\\f"}) {
    if (skip(named)) return true;
  }
  if (!skip("\\u00") || rest().size() < 2 || (*at_ != '0' && *at_ != '1')) return false;
  const bool isUpper = *at_++ == '1';
  const char low = *at_++;
  constexpr std::string_view unnamedBelow16 = "01234567bef";  // the others have a letter of their own
  constexpr std::string_view digits = "0123456789abcdef";
  return (isUpper ? digits : unnamedBelow16).find(low) != std::string_view::npos;
}

}  // namespace tidra
