// The categories of things outside projects that can be switched on and off.
#pragma once

#include <array>
#include <string>
#include <string_view>

#include "core/platform/platform.h"

namespace tidra {

struct TidraSystemScanCategory {
  std::string_view key;
  std::string_view name;    // for people
  std::string_view detail;  // for people: what it covers
  bool onMacOS = true;
  bool onLinux = true;

  constexpr bool existsOn(TidraPlatform platform) const { return platform == TidraPlatform::macOS ? onMacOS : onLinux; }
};

/// In the order of every list that shows them and of the probes. Xcode and its simulators exist on macOS only; Homebrew
/// runs on Linux too.
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

/// The name for people; the key itself when a custom rule made it up.
std::string systemScanCategoryName(std::string_view key);

}  // namespace tidra
