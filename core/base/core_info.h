// The version of Tidra.
#pragma once

#include <string_view>

namespace tidra {

struct TidraCoreInfo {
  static constexpr std::string_view version = "1.3.0";
};

}  // namespace tidra
