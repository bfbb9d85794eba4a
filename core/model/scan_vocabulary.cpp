#include "core/model/scan_vocabulary.h"

namespace tidra {

std::string_view displayTitle(ArtifactSafetyTier tier) {
  switch (tier) {
    case ArtifactSafetyTier::safe:
      return "Safe";
    case ArtifactSafetyTier::caution:
      return "Review";
    case ArtifactSafetyTier::warning:
      return "Irreversible";
  }
  return {};
}

bool isReversible(ArtifactSafetyTier tier) { return tier != ArtifactSafetyTier::warning; }

std::string_view legendText(ProjectActivity activity) {
  switch (activity) {
    case ProjectActivity::active:
      return "Active · under 1 month";
    case ProjectActivity::recent:
      return "Recent · 1–6 months";
    case ProjectActivity::inactive:
      return "Inactive · 6 months – 2 years";
    case ProjectActivity::dormant:
      return "Dormant · 2+ years";
  }
  return {};
}

}  // namespace tidra
