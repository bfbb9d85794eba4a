#include "core/model/ecosystems.h"

namespace tidra {

std::string ecosystemName(std::string_view key) {
  for (const auto& ecosystem : ecosystemTable) {
    if (ecosystem.key == key) return std::string(ecosystem.name);
  }
  return std::string(key);
}

}  // namespace tidra
