#include "app/terminal/ui_state.h"

namespace tidra {
namespace {

std::string groupedDigits(std::uint64_t number) {
  std::string digits = std::to_string(number);
  for (std::size_t behind = 3; behind < digits.size(); behind += 4) digits.insert(digits.size() - behind, ",");
  return digits;
}

}  // namespace

std::string placeText(const std::string& path, const std::string& home) {
  if (path == home) return "~";
  const bool isBelow = !home.empty() && path.starts_with(home) && path[home.size()] == '/';
  return isBelow ? "~" + path.substr(home.size()) : path;
}

std::string countText(std::uint64_t count, const char* one, const char* many) {
  return groupedDigits(count) + " " + (count == 1 ? one : many);
}

}  // namespace tidra
