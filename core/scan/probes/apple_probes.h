// Xcode archives and simulators. These probes run on macOS only; all they need from it are folders and one tool, so
// they can be driven anywhere with a fixture home and a fake tool.
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
  /// An available simulator is offered when it was not booted for this many months.
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
