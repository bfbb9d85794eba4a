#include "app/terminal/ui_state.h"

#include "core/platform/path_resolver.h"

namespace tidra {

std::string placeText(const std::string& path, const std::string& home) {
  return home.empty() ? path : TidraPathResolver{home, {}}.displayPath(path);
}

std::string reasonText(const std::string& reason) {
  const bool isSentence = !reason.empty() && reason.front() >= 'A' && reason.front() <= 'Z';
  return isSentence ? reason : "it " + reason;
}

}  // namespace tidra
