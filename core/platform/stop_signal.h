// Stop notification between threads.
#pragma once

#include <chrono>

#include "core/platform/wake_pipe.h"

namespace tidra {

/// Raised once, never cleared. Any thread may raise it or wait for it; it must outlive both.
class StopSignal {
 public:
  /// Throws std::system_error when no descriptors are left.
  StopSignal() = default;

  void raise() noexcept { pipe_.wake(); }
  bool isRaised() const { return waitFor(std::chrono::milliseconds(0)); }

  /// Blocks until the signal is raised, at most `most`; returns whether it is.
  bool waitFor(std::chrono::milliseconds most) const;

  /// For poll(): becomes and stays readable when the signal is raised.
  int descriptor() const { return pipe_.descriptor(); }

 private:
  WakePipe pipe_;  // never cleared
};

}  // namespace tidra
