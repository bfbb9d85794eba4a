// Environments and package caches of Conda.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "core/scan/probes/system_probe.h"

namespace tidra {

class CondaProbe : public SystemArtifactProbe {
 public:
  static constexpr double timeoutSeconds = 15;

  std::string categoryKey() const override { return "python"; }
  bool runsTools() const override { return true; }
  bool isOfTool() const override { return true; }
  ProbeReport scan(const SystemProbeContext& context) const override;

  /// Returns the absolute path of conda, from PATH or the usual installations in the home folder.
  static std::optional<std::string> find(const TidraPathResolver& resolver);

  /// Parses the size printed by a dry run of "conda clean"; 0 if there is nothing to clean, nullopt without a size.
  static std::optional<std::uint64_t> parseCleanSize(std::string_view output);
};

}  // namespace tidra
