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

  /// The absolute path of conda: the search path, then the usual installations in the home folder.
  static std::optional<std::string> find(const TidraPathResolver& resolver);

  /// The size that a dry run of "conda clean" announces; 0 when there is nothing to clean, none when it tells no size.
  static std::optional<std::uint64_t> parseCleanSize(std::string_view output);
};

}  // namespace tidra
