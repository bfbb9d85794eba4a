// The probe that serves most categories: it looks at the fixed locations of the catalog's system rules.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "core/scan/probes/system_probe.h"

namespace tidra {

class CatalogPathProbe : public SystemArtifactProbe {
 public:
  /// One path that a rule yields, before it is measured.
  struct Candidate {
    std::string url;  // the path
    SystemPathRule rule;
    std::string label;
    bool isFile = false;
  };

  explicit CatalogPathProbe(std::string categoryKey) : categoryKey_(std::move(categoryKey)) {}

  std::string categoryKey() const override { return categoryKey_; }
  ProbeReport scan(const SystemProbeContext& context) const override;

  struct Candidates {
    std::vector<Candidate> taken;       // in catalog order, none inside an earlier one
    std::vector<CoveredPlace> covered;  // what lies inside an earlier one
    std::set<std::string> links;        // passed over
  };

  /// The paths of all rules of the category. One that holds an earlier one is taken as well. A link is taken by rules
  /// of kind file only, as the entry that it is: nothing is found through the last component of a path.
  Candidates candidates(const SystemProbeContext& context) const;

  /// The name of the nearest parent folder that says whose the path is: folders such as "Crashpad" and "pending" are
  /// passed over, at most four of them.
  static std::string meaningfulParentName(const std::string& path);

  /// The paths that exist for an absolute path with wildcards in its components, in byte order.
  static std::vector<std::string> expandedGlob(const std::string& path);

 private:
  std::string categoryKey_;
};

}  // namespace tidra
