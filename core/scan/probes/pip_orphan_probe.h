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
    std::uint64_t bytes = 0;             // of its files, as far as it recorded them plausibly
  };

  /// Environments that are asked at once. Whoever met one that hung asks no other, so this is also how many can hang.
  static constexpr std::size_t asksAtOnce = 4;

  /// One finding for each virtual environment among the project findings whose project lists requirements and whose own
  /// pip lists packages that these do not need, in the order of `projects`, which are findings of the walk. A pip is
  /// asked only where the files of the environment let expect something, and only when PipTrust allows it.
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

  /// True when the environment's pip may be run, see PipTrust.
  static bool isTrustworthy(const std::string& environment, const TidraPathResolver& resolver);
};

}  // namespace tidra
