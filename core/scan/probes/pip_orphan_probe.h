// Packages that a virtual environment holds but its project does not ask for.
#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "core/scan/probes/system_probe.h"

namespace tidra {

struct PipOrphanProbe {
  static constexpr double timeoutSeconds = 15;

  /// What the metadata of an installed package tells.
  struct InstalledPackage {
    std::string name;                    // as the package spells it
    std::set<std::string> dependencies;  // normalised names, those of extras too
    std::uint64_t bytes = 0;             // of its files, as far as it recorded them
  };

  /// One finding for each virtual environment among the project findings whose project lists requirements and whose own
  /// pip lists packages that these do not need. `projects` are findings of the walk.
  static ProbeReport scan(const std::vector<ScanArtifactFinding>& projects, const SystemProbeContext& context);

  /// The packages that neither the requirements nor the dependencies of what they name account for, in byte order of
  /// their normalised names. Packages that every environment has (pip, setuptools…) are never among them, nor those
  /// without metadata in the environment, which it only borrows from the system. None when a required package has no
  /// metadata, so that its dependencies cannot be told.
  static std::optional<std::vector<std::string>> unusedPackages(
      const std::set<std::string>& listed, const std::set<std::string>& required,
      const std::map<std::string, InstalledPackage>& installed);

  /// The metadata of an environment's packages by normalised name.
  static std::map<std::string, InstalledPackage> installedPackages(const std::string& environment);

  /// True when the environment was made at this place by this user: its pip names this place as its interpreter's,
  /// which nothing that came with a download can know, and it belongs to the user or root and not everybody may write
  /// to it. Only then is its pip run.
  static bool isTrustworthy(const std::string& environment);
};

}  // namespace tidra
