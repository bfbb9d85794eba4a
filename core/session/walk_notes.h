// What a walk could not read, which exclusions were idle and which rule packs would find more, as notes.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "core/scan/artifact_scanner.h"
#include "core/scan/exclusion_use.h"

namespace tidra {

/// Returns a sentence for each kind of failure; `root` is the walk's root for display.
[[nodiscard]] std::vector<std::string> notesOfUnread(const FilesystemArtifactScanner::Result& result,
                                                     const std::string& root);

/// Returns a sentence for each exclusion that kept nothing out, neither below the roots nor a root itself.
[[nodiscard]] std::vector<std::string> notesOfIdleExclusions(ExclusionUse& use, const std::vector<std::string>& roots);

/// Returns the line about rule packs that would find something: "3 Elixir and 1 Unity project: tidra rules enable …";
/// nullopt if none would. `projects` counts them by the index of the pack.
[[nodiscard]] std::optional<std::string> noteOfOffPacks(const std::vector<const RulePack*>& packs,
                                                        const std::vector<std::uint64_t>& projects);

}  // namespace tidra
