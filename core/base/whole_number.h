#pragma once

#include <charconv>
#include <concepts>
#include <cstdint>
#include <optional>
#include <string_view>
#include <system_error>

namespace tidra {

/// Parses all of `text` as a decimal number, without white space or "+"; nullopt otherwise, and if it does not fit.
template <std::integral Number = std::int64_t>
std::optional<Number> wholeNumber(std::string_view text) {
  Number number = 0;
  const char* const end = text.data() + text.size();
  const auto [parsed, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc{} || parsed != end) return std::nullopt;
  return number;
}

}  // namespace tidra
