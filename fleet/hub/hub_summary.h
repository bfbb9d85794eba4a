// Computes the fleet's summary from its hosts.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "fleet/hub/fleet_totals.h"
#include "fleet/hub/hub_store.h"
#include "fleet/hub/protocol/hub_summary.h"

namespace tidra {

struct HubSummaryInput {
  HubInventory hosts;
  FleetTotals::Activity lastDay;   // the last 24 hours
  FleetTotals::Activity lastWeek;  // the last seven times 24 hours
  std::map<std::string, std::int64_t> bytesByTier;
  std::map<std::string, std::int64_t> bytesByCategory;
  std::vector<HubSummary::DayPoint> trend;
  std::vector<HubSummary::RuleBytes> topRules;
  TimePoint now{};
  std::string title;
  double staleAfter = 0;  // seconds
};

HubSummary summaryOf(HubSummaryInput input);

}  // namespace tidra
