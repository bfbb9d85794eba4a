// The made-up hosts of a demo fleet, one after another, each with the history of its runs.
#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "core/base/time_point.h"
#include "fleet/hub/demo_catalog.h"
#include "fleet/hub/demo_random.h"
#include "fleet/hub/protocol/hub_records.h"

namespace tidra {

struct DemoStory {
  HubHostFile file;
  std::vector<HubEvent> events;  // of its newest runs, and of what else happened to it; oldest first
};

/// The same hosts for the same seed, however many of them are asked for.
class DemoHosts {
 public:
  /// Hosts report for `days` days until `now`, those that came later for fewer.
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
  std::vector<std::int64_t> counts_;  // of hosts by kind so far
  std::set<std::string> taken_;       // names
};

}  // namespace tidra
