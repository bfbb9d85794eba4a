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

/// What a scan met of a pack that is off.
struct OffPack {
  const RulePack* pack = nullptr;
  std::uint64_t projects = 0;  // folders with the markers of its project rules
  bool hasPlaces = false;      // a folder outside projects that its rules take, and that is no finding already
};

/// Looks for the places outside projects; `context` supplies everything but the catalog. Costs a few system calls for
/// each rule.
void findPlacesOf(std::vector<OffPack>& packs, SystemProbeContext context, const std::set<std::string>& categories,
                  const std::vector<FoundArtifact>& findings);

/// Returns the line: "3 Elixir and 1 Unity project, and caches of Python: tidra rules enable elixir unity python";
/// nullopt if no pack would find anything.
[[nodiscard]] std::optional<std::string> noteOfOffPacks(std::vector<OffPack> packs);

}  // namespace tidra
