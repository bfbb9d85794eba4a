// Reclaimable space of a container engine.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "core/scan/probes/system_probe.h"

namespace tidra {

class DockerArtifactProbe : public SystemArtifactProbe {
 public:
  static constexpr double timeoutSeconds = 12;

  /// Without an argument the engine is searched for; tests pass a fixed one.
  explicit DockerArtifactProbe(std::optional<std::string> engine = {}) : engine_(std::move(engine)) {}

  std::string categoryKey() const override { return "docker"; }
  bool runsTools() const override { return true; }
  bool isOfTool() const override { return true; }
  ProbeReport scan(const SystemProbeContext& context) const override;

  /// Returns the engine's executable from the usual places or PATH; nullopt if there is none.
  static std::optional<std::string> findEngine(const Environment& environment);

  /// Parses a size as printed by the engine ("1.5GB", "512kB") and pip ("12 bytes"), in powers of 1000, or 1024 for
  /// "MiB" and its like; nullopt for anything else.
  static std::optional<std::uint64_t> parseSize(std::string_view text);

 private:
  std::optional<std::string> engine_;
};

}  // namespace tidra
