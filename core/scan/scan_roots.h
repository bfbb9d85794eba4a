// Roots of scans.
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
  std::string label;  // display name

  bool operator==(const ScanRoot&) const = default;
};

struct TidraScanRootResolver {
  /// Returns the root of a setting. An empty custom path means the home folder.
  static ScanRoot resolve(TidraScanDefaultLocation location, std::string_view customScanPath,
                          const TidraPathResolver& resolver);

  /// Returns the folder of a label from an earlier scan; the home folder for unknown labels.
  static std::string fromDisplay(std::string_view display, const TidraPathResolver& resolver);
};

}  // namespace tidra
