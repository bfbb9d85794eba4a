// Where a scan begins.
#pragma once

#include <array>
#include <string>
#include <string_view>

#include "core/base/enum_table.h"
#include "core/platform/path_resolver.h"

namespace tidra {

enum class TidraScanDefaultLocation { home, custom, entireMac };

template <>
struct EnumTable<TidraScanDefaultLocation> {
  static constexpr std::string_view name = "scan location";
  static constexpr std::array rows{
      EnumRow<TidraScanDefaultLocation>{TidraScanDefaultLocation::home, "home"},
      EnumRow<TidraScanDefaultLocation>{TidraScanDefaultLocation::custom, "custom"},
      EnumRow<TidraScanDefaultLocation>{TidraScanDefaultLocation::entireMac, "entireMac"},
  };
};

struct ScanRoot {
  std::string path;   // absolute and standardised
  std::string label;  // for people

  bool operator==(const ScanRoot&) const = default;
};

struct TidraScanRootResolver {
  /// The root of a setting. An empty custom path falls back to the home folder.
  static ScanRoot resolve(TidraScanDefaultLocation location, std::string_view customScanPath,
                          const TidraPathResolver& resolver);

  /// The folder that a label of an earlier scan stands for; the home folder for a label that names none.
  static std::string fromDisplay(std::string_view display, const TidraPathResolver& resolver);
};

}  // namespace tidra
