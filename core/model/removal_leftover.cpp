#include "core/model/removal_leftover.h"

#include <cassert>

#include "core/base/text.h"

namespace tidra {

std::string RemovalLeftover::unclaimedText(const std::vector<std::string>& places) {
  assert(!places.empty());
  constexpr std::size_t mostNamed = 5;
  const std::size_t named = std::min(places.size(), mostNamed);
  std::string names = joined({places.begin(), places.begin() + static_cast<std::ptrdiff_t>(named)}, ", ");
  if (named < places.size()) names += fmt::format(" and {} more", places.size() - named);
  constexpr const char* advice = "so it is left alone. Look inside, then rename or remove it yourself.";
  if (places.size() == 1) {
    return fmt::format("{} is named like an interrupted removal, but no note of yours says that it is one, {}", names,
                       advice);
  }
  return fmt::format(
      "{} folders are named like interrupted removals, but no note of yours says that they are, so they are left "
      "alone: "
      "{}. Look inside, then rename or remove them yourself.",
      places.size(), names);
}

}  // namespace tidra
