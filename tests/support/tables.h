// Tables of texts.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/base/text.h"

namespace tidra {

using Texts = std::vector<std::string>;
using TextPairs = std::vector<std::pair<std::string, std::string>>;

/// The words of a line, which blanks separate.
inline Texts wordsOf(std::string_view line) {
  Texts words;
  for (const auto word : splitNonEmpty(line, ' ')) words.emplace_back(word);
  return words;
}

/// The rows of "a => b | c => d". Blanks and line breaks around a cell do not count.
inline TextPairs rowsOf(std::string_view table) {
  TextPairs rows;
  for (const auto row : split(table, '|')) {
    const auto arrow = row.find("=>");
    rows.emplace_back(trimmed(row.substr(0, arrow)), trimmed(row.substr(arrow + 2)));
  }
  return rows;
}

}  // namespace tidra
