// Generates the hosts of a demo fleet with the history of their runs.
#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "core/base/time_point.h"
#include "fleet/hub/demo/demo_catalog.h"
#include "fleet/hub/demo/demo_random.h"
#include "fleet/hub/protocol/hub_records.h"

namespace tidra {

struct DemoStory {
  HubHostFile file;
  std::vector<HubEvent> events;  // of its newest runs, and others about it; oldest first
};

/// Deterministic: the same hosts for the same seed, regardless of their number.
class DemoHosts {
 public:
  /// Hosts report for `days` days until `now`; some join later.
  DemoHosts(std::uint64_t seed, std::int64_t days, TimePoint now);

  DemoStory next();

 private:
  struct Identity {
    std::string host;
    std::string home;
  };
  Identity identityOf(const DemoKind& kind, std::int64_t numberOfKind, DemoRandom& random);

  DemoRandom seeds_;
  std::int64_t days_;
  TimePoint now_;
  std::vector<std::int64_t> counts_;  // hosts per kind so far
  std::set<std::string> taken_;       // names in use
};

}  // namespace tidra
