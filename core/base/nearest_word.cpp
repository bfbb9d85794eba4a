#include "core/base/nearest_word.h"

#include <fmt/format.h>

#include <algorithm>
#include <numeric>
#include <utility>

#include "core/base/text.h"

namespace tidra {
namespace {

/// The optimal string alignment distance, computed row by row: letters inserted, dropped or replaced, and neighbours
/// swapped.
std::size_t distanceBetween(std::string_view one, std::string_view other) {
  std::vector<std::size_t> beforeLast;
  std::vector<std::size_t> last(other.size() + 1);
  std::iota(last.begin(), last.end(), std::size_t{0});
  for (std::size_t i = 0; i < one.size(); ++i) {
    std::vector<std::size_t> row{i + 1};
    for (std::size_t j = 0; j < other.size(); ++j) {
      const std::size_t replaced = last[j] + (one[i] == other[j] ? 0 : 1);
      row.push_back(std::min({replaced, last[j + 1] + 1, row[j] + 1}));
      const bool isSwap = i > 0 && j > 0 && one[i] == other[j - 1] && one[i - 1] == other[j];
      if (isSwap) row.back() = std::min(row.back(), beforeLast[j - 1] + 1);
    }
    beforeLast = std::exchange(last, std::move(row));
  }
  return last.back();
}

}  // namespace

std::optional<std::size_t> nearestWord(std::string_view typed, const std::vector<std::string>& known) {
  constexpr std::size_t mostLetters = 64;
  const std::string lowered = asciiLowered(typed.substr(0, mostLetters));
  std::optional<std::size_t> nearest;
  std::size_t least = std::max(lowered.size(), std::size_t{2});  // twice the distance has to stay below
  for (std::size_t i = 0; i < known.size(); ++i) {
    const std::size_t twice = 2 * distanceBetween(lowered, asciiLowered(known[i]));
    if (twice >= least) continue;
    least = twice;
    nearest = i;
  }
  return nearest;
}

std::string knownWordsText(std::string_view typed, const std::vector<std::string>& known) {
  const auto nearest = nearestWord(typed, known);
  if (!nearest) return fmt::format("known are {}.", joined(known, ", "));
  return fmt::format("did you mean {}? Known are {}.", known[*nearest], joined(known, ", "));
}

}  // namespace tidra
