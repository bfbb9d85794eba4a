// What the hub tells Prometheus about the fleet. docs/hub.md describes every family.
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

/// The text exposition, version 0.0.4: the same families in the same order always, hosts in the order given. Hosts
/// whose names differ in nothing that a label can hold are told apart by a number.
std::string hubMetrics(const HubInventory& hosts, const HubSummary& summary, const HubMetricsContext& context);

}  // namespace tidra
