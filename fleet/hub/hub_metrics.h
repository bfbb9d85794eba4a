// The hub's Prometheus metrics, described in docs/hub.md.
#pragma once

#include <string>

#include "fleet/hub/hub_store.h"
#include "fleet/hub/protocol/hub_summary.h"

namespace tidra {

struct HubMetricsContext {
  std::string version;    // of the program
  double staleAfter = 0;  // seconds
  TimePoint now{};
};

/// Returns the text exposition format 0.0.4: always the same families in the same order, hosts in the given order. Host
/// names that are equal as labels are made unique by a number.
std::string hubMetrics(const HubInventory& hosts, const HubSummary& summary, const HubMetricsContext& context);

}  // namespace tidra
