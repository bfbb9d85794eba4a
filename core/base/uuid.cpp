#include "core/base/uuid.h"

#include <random>
#include <string_view>

namespace tidra {

std::string makeUuid() {
  std::random_device random;
  constexpr std::string_view digits = "0123456789ABCDEF";
  std::string uuid = "xxxxxxxx-xxxx-4xxx-yxxx-xxxxxxxxxxxx";
  for (char& c : uuid) {
    if (c == 'x') c = digits[random() % 16U];
    if (c == 'y') c = digits[8U + random() % 4U];
  }
  return uuid;
}

}  // namespace tidra
