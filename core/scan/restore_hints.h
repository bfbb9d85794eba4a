// Chooses restore hints by what lies in and beside artefacts: what a tool left there, or a lock file, says which of
// several tools brings one back.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "core/rules/rule_catalog.h"

namespace tidra {

/// Thread-safe after construction.
class RestoreHints {
 public:
  /// The catalog must outlive this.
  explicit RestoreHints(const RuleCatalog& catalog);

  /// Returns the hint of a rule that fits an artefact at this absolute path: the commands that a build tree records,
  /// else the first hint by what lies inside, by "packageManager", or beside; nullopt where its only one stands.
  std::optional<std::string> of(const std::string& ruleID, const std::string& artefact) const;

 private:
  std::unordered_map<std::string_view, const ProjectArtifactRule*> rules_;  // those with several hints, by id
};

}  // namespace tidra
