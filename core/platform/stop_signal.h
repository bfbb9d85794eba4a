// How one thread ends the waiting of another.
#pragma once

#include <chrono>

#include "core/platform/wake_pipe.h"

namespace tidra {

/// Raised once and for all. Any thread may raise it and any may wait; it outlives both.
class StopSignal {
 public:
  /// Throws std::system_error when there are no descriptors left.
  StopSignal() = default;

  void raise() noexcept { pipe_.wake(); }
  bool isRaised() const { return waitFor(std::chrono::milliseconds(0)); }

  /// Sleeps until the signal is raised, at most this long; true when it is.
  bool waitFor(std::chrono::milliseconds most) const;

  /// Becomes readable, for good, when the signal is raised; for poll.
  int descriptor() const { return pipe_.descriptor(); }

 private:
  WakePipe pipe_;  // never cleared
};

}  // namespace tidra
