#include "core/scan/scan_roots.h"

#include "core/base/text.h"
#include "core/platform/path_text.h"

namespace tidra {
namespace {

constexpr std::string_view entireMacLabel = "Entire Mac";

/// Expands "~" and "~/rest"; resolves relative text in the home folder.
std::string tildeExpanded(std::string_view path, const TidraPathResolver& resolver) {
  if (path == "~" || path.starts_with("~/")) return resolver.home + std::string(path.substr(1));
  return path.starts_with('/') ? std::string(path) : joinedPath(resolver.home, path);
}

}  // namespace

ScanRoot TidraScanRootResolver::resolve(TidraScanDefaultLocation location, std::string_view customScanPath,
                                        const TidraPathResolver& resolver) {
  const auto custom = trimmed(customScanPath);
  if (location == TidraScanDefaultLocation::entireMac) return {"/", std::string(entireMacLabel)};
  if (location == TidraScanDefaultLocation::custom && !custom.empty()) {
    const std::string path = standardizedPath(tildeExpanded(custom, resolver));
    return {path, path};
  }
  return {resolver.home, resolver.displayPath(resolver.home)};
}

std::string TidraScanRootResolver::fromDisplay(std::string_view display, const TidraPathResolver& resolver) {
  if (display == entireMacLabel || display == "/") return "/";
  if (display == "All user-accessible paths") return "/Users";
  if (display.starts_with("~/") || display.starts_with('/')) {
    return standardizedPath(tildeExpanded(display, resolver));
  }
  return resolver.home;
}

}  // namespace tidra
