// The platforms that rules and paths distinguish.
#pragma once

#include <array>

#include "core/base/enum_table.h"

namespace tidra {

enum class TidraPlatform { macOS, linux };

template <>
struct EnumTable<TidraPlatform> {
  static constexpr std::string_view name = "platform";
  static constexpr std::array rows{
      EnumRow<TidraPlatform>{TidraPlatform::macOS, "macos"},
      EnumRow<TidraPlatform>{TidraPlatform::linux, "linux"},
  };
};

/// The platform of this build. Rules take the platform as a value, so that each can be tested anywhere; only the
/// outermost layer reads this.
#ifdef __APPLE__
constexpr TidraPlatform currentPlatform = TidraPlatform::macOS;
#else
constexpr TidraPlatform currentPlatform = TidraPlatform::linux;
#endif

}  // namespace tidra
