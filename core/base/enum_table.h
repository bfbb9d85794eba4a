// Enumerations with raw text: one constexpr table each gives text, parsing and the list of cases.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace tidra {

/// Specialised next to each enumeration with a member `rows`: a constexpr array of (case, raw text) pairs in the
/// order of declaration, and a member `name`: what the enumeration is called in an error message.
template <class E>
struct EnumTable;

template <class E>
struct EnumRow {
  E value;
  std::string_view text;
};

template <class E>
concept TabledEnum = requires {
  EnumTable<E>::rows;
};

/// The raw text of a case; the empty text for a value outside the enumeration.
template <TabledEnum E>
constexpr std::string_view rawValue(E value) {
  for (const auto& row : EnumTable<E>::rows) {
    if (row.value == value) return row.text;
  }
  return {};
}

/// The case with this exact raw text; none for unknown text, never a default case.
template <TabledEnum E>
constexpr std::optional<E> fromRawValue(std::string_view text) {
  for (const auto& row : EnumTable<E>::rows) {
    if (row.text == text) return row.value;
  }
  return std::nullopt;
}

/// Every case in the order of declaration.
template <TabledEnum E>
constexpr auto allCases() {
  constexpr auto& rows = EnumTable<E>::rows;
  std::array<E, rows.size()> cases{};
  for (std::size_t i = 0; i < rows.size(); ++i) cases[i] = rows[i].value;
  return cases;
}

/// The raw texts joined as in "safe, caution, warning", for messages that name the choices.
template <TabledEnum E>
std::string rawValueList() {
  std::string list;
  for (const auto& row : EnumTable<E>::rows) {
    if (!list.empty()) list += ", ";
    list += row.text;
  }
  return list;
}

}  // namespace tidra
