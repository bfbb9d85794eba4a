// Probe of most categories: the fixed locations of the catalog's system rules.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "core/scan/probes/system_probe.h"

namespace tidra {

class CatalogPathProbe : public SystemArtifactProbe {
 public:
  /// A path of a rule, not yet measured.
  struct Candidate {
    std::string url;  // path
    SystemPathRule rule;
    std::string label;
    bool isFile = false;
  };

  explicit CatalogPathProbe(std::string categoryKey) : categoryKey_(std::move(categoryKey)) {}

  std::string categoryKey() const override { return categoryKey_; }
  ProbeReport scan(const SystemProbeContext& context) const override;

  struct Candidates {
    std::vector<Candidate> taken;       // in catalog order, none inside an earlier one
    std::vector<CoveredPlace> covered;  // paths inside an earlier one
    std::set<std::string> links;        // skipped symbolic links
  };

  /// Returns the paths of all rules of the category, including those that contain an earlier one. Rules of kind file
  /// may return a symbolic link, as an entry of its own; last components are never followed.
  Candidates candidates(const SystemProbeContext& context) const;

  /// Returns the name of the nearest descriptive ancestor; skips up to four folders such as "Crashpad" and "pending".
  static std::string meaningfulParentName(const std::string& path);

  /// Returns the existing paths for an absolute path with wildcards, in byte order.
  static std::vector<std::string> expandedGlob(const std::string& path);

 private:
  std::string categoryKey_;
};

}  // namespace tidra
