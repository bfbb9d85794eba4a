#include "app/terminal/ui_state.h"

namespace tidra {

std::string placeText(const std::string& path, const std::string& home) {
  if (path == home) return "~";
  const bool isBelow = !home.empty() && path.starts_with(home) && path[home.size()] == '/';
  return isBelow ? "~" + path.substr(home.size()) : path;
}

std::string reasonText(const std::string& reason) {
  const bool isSentence = !reason.empty() && reason.front() >= 'A' && reason.front() <= 'Z';
  return isSentence ? reason : "it " + reason;
}

}  // namespace tidra
