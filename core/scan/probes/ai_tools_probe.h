// Leftovers of AI coding tools that no fixed path of the catalog can name.
#pragma once

#include <string>
#include <vector>

#include "core/scan/probes/system_probe.h"

namespace tidra {

class AIToolsProbe : public SystemArtifactProbe {
 public:
  struct ClaudeProjectFolder {
    std::string url;          // session folder of the project
    std::string displayName;  // path of the project if it can be decoded, else the folder name

    bool operator==(const ClaudeProjectFolder&) const = default;
  };

  std::string categoryKey() const override { return "aiTools"; }
  ProbeReport scan(const SystemProbeContext& context) const override;

  static std::vector<ClaudeProjectFolder> claudeProjects(const TidraPathResolver& resolver);

  /// Returns the existing folder whose encoded path ("-" for every character that is no ASCII letter or digit) is the
  /// name of a session folder; empty if none exists.
  static std::string decodedProjectPath(const std::string& folderName);
};

}  // namespace tidra
