// Suggestions for mistyped words.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tidra {

/// Returns the position in `known` of the word with the smallest edit distance to `typed`, ignoring case; nullopt if
/// half of `typed` or more would have to change.
std::optional<std::size_t> nearestWord(std::string_view typed, const std::vector<std::string>& known);

/// Returns the end of a sentence about an unknown word: "did you mean docker? Known are docker, jvm." or, if no word
/// is near, "known are docker, jvm."
std::string knownWordsText(std::string_view typed, const std::vector<std::string>& known);

}  // namespace tidra
