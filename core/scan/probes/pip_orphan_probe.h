// Finds packages in virtual environments that their project does not require.
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

  /// Metadata of an installed package.
  struct InstalledPackage {
    std::string name;                    // as spelled by the package
    std::set<std::string> dependencies;  // normalised names, including extras
    std::uint64_t bytes = 0;             // of its files, as far as plausibly recorded
  };

  /// Environments queried in parallel. A worker stops after a hanging pip, so at most this many hang.
  static constexpr std::size_t asksAtOnce = 4;

  /// Returns one finding per virtual environment whose project lists requirements and whose pip lists packages that
  /// these do not need, in the order of `projects` (findings of the walk). Runs a pip only if the environment's files
  /// suggest a result and PipTrust permits it.
  static ProbeReport scan(const std::vector<FoundArtifact>& projects, const SystemProbeContext& context);

  /// Returns the packages not in the transitive closure of the requirements, in byte order of their normalised names.
  /// Excludes base packages (pip, setuptools…) and packages without metadata in the environment, which come from the
  /// system. nullopt if a required package has no metadata, so that its dependencies are unknown.
  static std::optional<std::vector<std::string>> unusedPackages(
      const std::set<std::string>& listed, const std::set<std::string>& required,
      const std::map<std::string, InstalledPackage>& installed);

  /// Returns the metadata of an environment's packages by normalised name.
  static std::map<std::string, InstalledPackage> installedPackages(const std::string& environment);

  /// Whether the environment's pip may be run; see PipTrust.
  static bool isTrustworthy(const std::string& environment, const TidraPathResolver& resolver);
};

}  // namespace tidra
