// The ecosystems that users switch on and off.
#pragma once

#include <array>
#include <string>
#include <string_view>

namespace tidra {

struct TidraEcosystemDescriptor {
  std::string_view key;
  std::string_view name;        // display name
  std::string_view symbolName;  // in the desktop's symbol font
};

/// In display order.
inline constexpr std::array ecosystemTable{
    TidraEcosystemDescriptor{"ai", "AI tools / local models", "sparkles"},
    TidraEcosystemDescriptor{"npm", "Node.js / npm", "cube.box"},
    TidraEcosystemDescriptor{"py", "Python", "doc.text"},
    TidraEcosystemDescriptor{"rust", "Rust", "gearshape.2"},
    TidraEcosystemDescriptor{"ruby", "Ruby", "diamond"},
    TidraEcosystemDescriptor{"go", "Go", "hare"},
    TidraEcosystemDescriptor{"java", "Java / Kotlin", "cup.and.saucer"},
    TidraEcosystemDescriptor{"swift", "Swift / Xcode", "swift"},
    TidraEcosystemDescriptor{"dotnet", ".NET / NuGet", "chevron.left.forwardslash.chevron.right"},
    TidraEcosystemDescriptor{"general", "General (logs, .DS_Store, temp)", "folder"},
};

/// Returns the display name; the tag itself if a custom rule defined it.
std::string ecosystemName(std::string_view key);

}  // namespace tidra
