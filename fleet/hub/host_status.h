// How a host is doing, from its latest report and how long ago that was.
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

/// `staleAfter` is the silence, in seconds, after which a host is stale whose agent has no interval.
HubHostCondition conditionOf(const HubHostFile& file, TimePoint now, double staleAfter);

/// The share of the volume that is free, from 0 to 1; none unless the host reports both figures.
std::optional<double> freeFractionOf(const HubHostReport& report);

/// Less than a tenth of the volume is free.
bool isLowOnDisk(const HubHostReport& report);

}  // namespace tidra
