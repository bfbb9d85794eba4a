// Writes a synthetic fleet into a data folder: for demos, screenshots and load tests.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "core/base/time_point.h"

namespace tidra {

struct DemoFleet {
  std::int64_t hosts = 200;  // at least 1
  std::int64_t days = 30;    // of reports, at least 1; a hub stores a host's newest thousand
  std::uint64_t seed = 1;    // equal seed and `now` make the same fleet, byte for byte
  TimePoint now{};           // arrival of the last reports
};

struct DemoFleetSize {
  std::int64_t hosts = 0;
  std::int64_t points = 0;  // of history
  std::int64_t policies = 0;
  std::int64_t events = 0;
};

/// Throws what writeDemoFleet throws for an unusable folder; changes nothing.
void requireDemoFolder(const std::string& dataDir);

/// Writes the files that a hub would have written, without flushing. `progress`, if any, is called with the number of
/// hosts written. Throws HubStoreError when a hub holds the folder, and InputError when it is not empty or unusable;
/// then nothing has changed.
DemoFleetSize writeDemoFleet(const std::string& dataDir, const DemoFleet& fleet,
                             const std::function<void(std::int64_t)>& progress = {});

}  // namespace tidra
