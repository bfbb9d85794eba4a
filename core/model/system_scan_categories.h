// Categories of findings outside projects that users switch on and off.
#pragma once

#include <array>
#include <string>
#include <string_view>

#include "core/platform/platform.h"

namespace tidra {

struct TidraSystemScanCategory {
  std::string_view key;
  std::string_view name;    // display name
  std::string_view detail;  // description for display
  bool onMacOS = true;
  bool onLinux = true;

  constexpr bool existsOn(TidraPlatform platform) const { return platform == TidraPlatform::macOS ? onMacOS : onLinux; }
};

/// In display and probing order. Xcode and its simulators exist on macOS only; Homebrew also runs on Linux.
inline constexpr std::array systemScanCategoryTable{
    TidraSystemScanCategory{"aiTools", "AI coding tools",
                            "Local models, Claude/Cursor/Codex caches, agent session history"},
    TidraSystemScanCategory{"agentHost", "Agent host leftovers",
                            "OpenClaw logs and build captures, crash dumps, stale CLI versions, un-emptied trash"},
    TidraSystemScanCategory{"xcode", "Xcode & iOS tooling", "DerivedData, simulators, device support, archives", true,
                            false},
    TidraSystemScanCategory{"globalCaches", "Global package caches",
                            "npm, pip, yarn, pnpm, NuGet, Poetry, uv, Go, Cargo, Gradle"},
    TidraSystemScanCategory{"globalModules", "Global CLI packages", "npm and yarn globally installed tools"},
    TidraSystemScanCategory{"python", "Python / Conda", "Conda unused packages, tarballs, dormant envs, pyenv"},
    TidraSystemScanCategory{"homebrew", "Homebrew", "Download caches and logs"},
    TidraSystemScanCategory{"docker", "Docker", "Unused images, volumes, build cache"},
};

/// Returns the display name; the key itself if a custom rule defined it.
std::string systemScanCategoryName(std::string_view key);

}  // namespace tidra
