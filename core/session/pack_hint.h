// The line about rule packs that are off and would find something.
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "core/model/found_artifact.h"
#include "core/rules/rule_packs.h"
#include "core/scan/probes/system_probe.h"

namespace tidra {

/// What a scan meets of the packs that are off.
class OffPacks {
 public:
  explicit OffPacks(const std::vector<const RulePack*>& packs);

  /// `projects`: folders with the markers of the project rules of each pack, by its index.
  void addProjects(const std::vector<std::uint64_t>& projects);

  /// Looks for folders outside projects that rules of the packs take and that are no findings already. `context`
  /// supplies everything but the catalog. Costs a few system calls for each rule.
  void findPlaces(SystemProbeContext context, const std::set<std::string>& categories,
                  const std::vector<FoundArtifact>& findings);

  /// Returns the line: "3 Elixir and 1 Unity project, and caches of Python: tidra rules enable elixir unity python";
  /// nullopt if no pack would find anything.
  [[nodiscard]] std::optional<std::string> note() const;

 private:
  struct Met {
    const RulePack* pack = nullptr;
    std::uint64_t projects = 0;
    bool hasPlaces = false;
  };
  std::vector<Met> packs_;
};

}  // namespace tidra
