// What AI coding tools leave behind where no fixed path of the catalog can name it.
#pragma once

#include <string>
#include <vector>

#include "core/scan/probes/system_probe.h"

namespace tidra {

class AIToolsProbe : public SystemArtifactProbe {
 public:
  struct ClaudeProjectFolder {
    std::string url;          // the project's session folder
    std::string displayName;  // for people: the project's path as far as it can be told

    bool operator==(const ClaudeProjectFolder&) const = default;
  };

  std::string categoryKey() const override { return "aiTools"; }
  ProbeReport scan(const SystemProbeContext& context) const override;

  static std::vector<ClaudeProjectFolder> claudeProjects(const TidraPathResolver& resolver);

  /// The existing folder whose path a session folder's name encodes with "-" for every character that is no ASCII
  /// letter or digit; empty when no folder on the disk fits any more.
  static std::string decodedProjectPath(const std::string& folderName);
};

}  // namespace tidra
