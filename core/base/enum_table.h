// Enumerations with raw text. One constexpr table each is the source of text, parsing and the list of cases.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace tidra {

/// Specialised next to each enumeration. `rows`: a constexpr array of (case, raw text) pairs in the order of
/// declaration; `name`: what an error message calls the enumeration.
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

/// Whether the rows are in the order of declaration, without gaps, and each text is there once.
template <TabledEnum E>
consteval bool isWellFormed() {
  const auto& rows = EnumTable<E>::rows;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    if (static_cast<std::size_t>(rows[i].value) != i || rows[i].text.empty()) return false;
    for (std::size_t k = 0; k < i; ++k) {
      if (rows[k].text == rows[i].text) return false;
    }
  }
  return true;
}

/// Returns the raw text of a case; empty for a value outside the enumeration.
template <TabledEnum E>
constexpr std::string_view rawValue(E value) {
  static_assert(isWellFormed<E>());
  for (const auto& row : EnumTable<E>::rows) {
    if (row.value == value) return row.text;
  }
  return {};
}

/// Returns the case with exactly this raw text; nullopt for unknown text.
template <TabledEnum E>
constexpr std::optional<E> fromRawValue(std::string_view text) {
  for (const auto& row : EnumTable<E>::rows) {
    if (row.text == text) return row.value;
  }
  return std::nullopt;
}

/// Returns every case in the order of declaration.
template <TabledEnum E>
constexpr auto allCases() {
  constexpr auto& rows = EnumTable<E>::rows;
  std::array<E, rows.size()> cases{};
  for (std::size_t i = 0; i < rows.size(); ++i) cases[i] = rows[i].value;
  return cases;
}

/// Returns the raw texts joined as in "safe, caution, warning", for error messages.
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
