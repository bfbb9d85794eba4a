#include "core/scan/package_manifest.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>

#include "core/base/byte_units.h"
#include "core/platform/files.h"
#include "core/platform/path_text.h"

namespace tidra {

PackageManifest::PackageManifest(const std::string& project) {
  constexpr std::size_t largest = 1_MiB;
  const auto text = readRegularFile(joinedPath(project, "package.json"), largest);
  const auto json = text ? nlohmann::json::parse(*text, nullptr, false) : nlohmann::json();
  if (!json.is_object()) return;
  namesPackages_ = false;
  for (const auto& [key, value] : json.items()) {
    namesPackages_ = namesPackages_ || key == "workspaces" || (key.ends_with("ependencies") && !value.empty());
  }
  if (!json.contains("scripts") || !json["scripts"].is_object()) return;
  for (const auto& [name, command] : json["scripts"].items()) {
    if (command.is_string()) scripts_.emplace_back(name, command.get<std::string>());
  }
}

bool PackageManifest::mayMake(std::string_view folder) const {
  if (folder != "dist" && folder != "build") return true;
  constexpr std::array builders{std::string_view{"build"},  std::string_view{"dist"},  std::string_view{"compile"},
                                std::string_view{"bundle"}, std::string_view{"prepa"}, std::string_view{"prepu"}};
  bool builds = false;
  for (const auto& [name, command] : scripts_) {
    const auto isIn = [&script = name](std::string_view word) { return script.find(word) != std::string::npos; };
    if (std::none_of(builders.begin(), builders.end(), isIn)) continue;
    if (command.find(fmt::format("{}/", folder)) != std::string::npos) return false;
    builds = true;
  }
  return builds;
}

}  // namespace tidra
