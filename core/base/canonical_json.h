// The inverse of JsonWriter and nothing more: accepts JSON only where it is byte for byte what the writer makes of the
// same values, at the speed of scanning. Other text is left to the general parser.
#pragma once

#include <array>
#include <charconv>
#include <concepts>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "core/base/enum_table.h"
#include "core/base/time_point.h"

namespace tidra {

/// Reads from left to right. Every read returns false at what the writer would not have written; the reader is then of
/// no further use.
class CanonicalReader {
 public:
  explicit CanonicalReader(std::string_view text) : at_(text.data()), end_(text.data() + text.size()) {}

  std::string_view rest() const { return {at_, static_cast<std::size_t>(end_ - at_)}; }

  bool skip(std::string_view expected) {
    if (rest().size() < expected.size() || std::memcmp(at_, expected.data(), expected.size()) != 0) return false;
    at_ += expected.size();
    return true;
  }

  /// Skips what JsonWriter::member() writes. The compiler knows the length, so that comparing takes no call.
  template <std::size_t size>
  bool skipMember(const std::array<char, size>& opening, bool isFirst) {
    if (rest().size() < size || *at_ != (isFirst ? '{' : ',')) return false;
    if (std::memcmp(at_ + 1, opening.data() + 1, size - 1) != 0) return false;
    at_ += size;
    return true;
  }

  /// A view of what stands between the quotes, escapes included.
  bool read(std::string_view& text);
  bool read(TimePoint& time);

  bool read(bool& value) {
    value = skip("true");
    return value || skip("false");
  }

  template <std::integral Number>
  bool read(Number& number) {
    const auto [end, error] = std::from_chars(at_, end_, number);
    if (error != std::errc{}) return false;
    // JSON has neither leading zeros nor, from this writer, a negative zero.
    const char* const digits = *at_ == '-' ? at_ + 1 : at_;
    if (*digits == '0' && (end != digits + 1 || digits != at_)) return false;
    at_ = end;
    return true;
  }

  template <TabledEnum E>
  bool read(E& value) {
    std::string_view text;
    if (!read(text)) return false;
    const auto known = fromRawValue<E>(text);
    if (known) value = *known;
    return known.has_value();
  }

 private:
  bool skipEscape();

  const char* at_;
  const char* end_;
};

}  // namespace tidra
