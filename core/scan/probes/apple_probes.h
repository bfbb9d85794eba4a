// Xcode archives and simulators. macOS only, but testable anywhere: they need only folders and one tool.
#pragma once

#include <string>

#include "core/scan/probes/system_probe.h"

namespace tidra {

class XcodeArchivesProbe : public SystemArtifactProbe {
 public:
  std::string categoryKey() const override { return "xcode"; }
  std::set<TidraPlatform> supportedPlatforms() const override { return {TidraPlatform::macOS}; }
  ProbeReport scan(const SystemProbeContext& context) const override;
};

class CoreSimulatorProbe : public SystemArtifactProbe {
 public:
  static constexpr double timeoutSeconds = 15;
  /// An available simulator is offered after this many months without a boot.
  static constexpr int idleMonths = 6;

  explicit CoreSimulatorProbe(std::string xcrun = "/usr/bin/xcrun") : xcrun_(std::move(xcrun)) {}

  std::string categoryKey() const override { return "xcode"; }
  std::set<TidraPlatform> supportedPlatforms() const override { return {TidraPlatform::macOS}; }
  bool runsTools() const override { return true; }
  ProbeReport scan(const SystemProbeContext& context) const override;

 private:
  std::string xcrun_;
};

}  // namespace tidra
