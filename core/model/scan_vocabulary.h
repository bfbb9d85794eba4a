// Vocabulary of scanners, reports, plans, policies and screens: source of a finding, safety of its removal, activity of
// its project.
#pragma once

#include <array>
#include <string_view>

#include "core/base/enum_table.h"

namespace tidra {

/// The producer of a finding.
enum class ArtifactSource { projectWalk, systemProbe, dockerCLI, condaCLI, pipCLI };

template <>
struct EnumTable<ArtifactSource> {
  static constexpr std::string_view name = "source";
  static constexpr std::array rows{
      EnumRow<ArtifactSource>{ArtifactSource::projectWalk, "projectWalk"},
      EnumRow<ArtifactSource>{ArtifactSource::systemProbe, "systemProbe"},
      EnumRow<ArtifactSource>{ArtifactSource::dockerCLI, "dockerCLI"},
      EnumRow<ArtifactSource>{ArtifactSource::condaCLI, "condaCLI"},
      EnumRow<ArtifactSource>{ArtifactSource::pipCLI, "pipCLI"},
  };
};

/// Safety of removal, most harmless first; comparisons use this order.
enum class ArtifactSafetyTier { safe, caution, warning };

template <>
struct EnumTable<ArtifactSafetyTier> {
  static constexpr std::string_view name = "tier";
  static constexpr std::array rows{
      EnumRow<ArtifactSafetyTier>{ArtifactSafetyTier::safe, "safe"},
      EnumRow<ArtifactSafetyTier>{ArtifactSafetyTier::caution, "caution"},
      EnumRow<ArtifactSafetyTier>{ArtifactSafetyTier::warning, "warning"},
  };
};

/// Returns "Safe", "Review" or "Irreversible".
std::string_view displayTitle(ArtifactSafetyTier tier);

/// Whether it can be generated again.
bool isReversible(ArtifactSafetyTier tier);

/// How long ago a project was last worked on, most recent first.
enum class ProjectActivity { active, recent, inactive, dormant };

template <>
struct EnumTable<ProjectActivity> {
  static constexpr std::string_view name = "activity";
  static constexpr std::array rows{
      EnumRow<ProjectActivity>{ProjectActivity::active, "active"},
      EnumRow<ProjectActivity>{ProjectActivity::recent, "recent"},
      EnumRow<ProjectActivity>{ProjectActivity::inactive, "inactive"},
      EnumRow<ProjectActivity>{ProjectActivity::dormant, "dormant"},
  };
};

/// Fixed legend text, independent of the configured thresholds.
std::string_view legendText(ProjectActivity activity);

}  // namespace tidra
