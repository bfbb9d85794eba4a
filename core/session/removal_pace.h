// How fast a removal goes on.
#pragma once

#include <chrono>
#include <optional>

#include "core/session/cleanup_session.h"

namespace tidra {

struct RemovalPace {
  double bytesPerSecond = 0;          // 0: too little is known
  std::optional<double> secondsLeft;  // absent: too little is known, or nothing is left

  bool operator==(const RemovalPace&) const = default;
};

/// The pace since the beginning; known from a second on.
RemovalPace paceOf(const CleanupProgress& progress, std::chrono::duration<double> elapsed);

}  // namespace tidra
