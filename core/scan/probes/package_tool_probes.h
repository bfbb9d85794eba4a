// Global stores whose location only a package tool knows: Homebrew's downloads, global npm and yarn packages.
#pragma once

#include <cstddef>
#include <string>

#include "core/scan/probes/system_probe.h"

namespace tidra {

class HomebrewCacheProbe : public SystemArtifactProbe {
 public:
  static constexpr double timeoutSeconds = 12;

  std::string categoryKey() const override { return "homebrew"; }
  bool runsTools() const override { return true; }
  bool isOfTool() const override { return true; }
  ProbeReport scan(const SystemProbeContext& context) const override;
};

class GlobalModulesProbe : public SystemArtifactProbe {
 public:
  static constexpr double timeoutSeconds = 12;

  std::string categoryKey() const override { return "globalModules"; }
  bool runsTools() const override { return true; }
  ProbeReport scan(const SystemProbeContext& context) const override;

  /// Counts the packages of a "node_modules" folder, those of a scope individually.
  static std::size_t countPackages(const std::string& nodeModules);
};

}  // namespace tidra
