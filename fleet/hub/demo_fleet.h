// A made-up fleet in a data folder: for trying the dashboard, for pictures of it, and for load tests.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "core/base/time_point.h"

namespace tidra {

struct DemoFleet {
  std::int64_t hosts = 200;  // at least 1
  std::int64_t days = 30;    // of reports, at least 1; a hub keeps a host's newest thousand
  std::uint64_t seed = 1;    // the same fleet for the same seed and `now`, byte for byte
  TimePoint now{};           // when the last reports arrive
};

struct DemoFleetSize {
  std::int64_t hosts = 0;
  std::int64_t points = 0;  // of history
  std::int64_t policies = 0;
  std::int64_t events = 0;
};

/// Throws what writeDemoFleet throws for a folder that it does not write into; makes and changes nothing.
void requireDemoFolder(const std::string& dataDir);

/// Writes the fleet as a hub would have written it, apart from flushing each file to disk. `progress`, if any, is told
/// the hosts written so far. Throws HubStoreError when a hub has the folder, and InputError for one that is not empty
/// or cannot be used; nothing has been changed then.
DemoFleetSize writeDemoFleet(const std::string& dataDir, const DemoFleet& fleet,
                             const std::function<void(std::int64_t)>& progress = {});

}  // namespace tidra
