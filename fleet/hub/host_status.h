// A host's status, from its latest report and the time since.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "core/base/time_point.h"
#include "fleet/hub/protocol/hub_records.h"

namespace tidra {

struct HubHostCondition {
  HubHostStatus status = HubHostStatus::healthy;
  std::vector<std::string> reasons;  // sentences for people; empty for a healthy host

  bool operator==(const HubHostCondition&) const = default;
};

/// `staleAfter`, in seconds, applies to hosts whose agent has no interval.
HubHostCondition conditionOf(const HubHostFile& file, TimePoint now, double staleAfter);

/// The free share of the volume, 0 to 1; none unless the host reports both figures.
std::optional<double> freeFractionOf(const HubHostReport& report);

/// True below a tenth of the volume.
bool isLowOnDisk(const HubHostReport& report);

}  // namespace tidra
