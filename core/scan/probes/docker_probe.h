// Space that a container engine holds and can give back.
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

  /// Without an argument the engine's program is looked for; a fixed one serves tests.
  explicit DockerArtifactProbe(std::optional<std::string> engine = {}) : engine_(std::move(engine)) {}

  std::string categoryKey() const override { return "docker"; }
  bool runsTools() const override { return true; }
  bool isOfTool() const override { return true; }
  ProbeReport scan(const SystemProbeContext& context) const override;

  /// The engine's program: the usual places, then the search path; none when there is none.
  static std::optional<std::string> findEngine(const Environment& environment);

  /// Bytes of a size as the engine prints it, "1.5GB" or "512kB", and pip, "12 bytes", in powers of 1000 (powers of
  /// 1024 for "MiB" and its like); none for anything else.
  static std::optional<std::uint64_t> parseSize(std::string_view text);

 private:
  std::optional<std::string> engine_;
};

}  // namespace tidra
