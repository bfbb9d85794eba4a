#include "core/platform/stop_signal.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>

namespace tidra {

bool StopSignal::waitFor(std::chrono::milliseconds most) const {
  using Clock = std::chrono::steady_clock;
  const auto deadline = Clock::now() + most;
  for (;;) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
    pollfd watched{descriptor(), POLLIN, 0};
    const int ready = ::poll(&watched, 1, static_cast<int>(std::max<std::chrono::milliseconds::rep>(left.count(), 0)));
    if (ready > 0) return true;
    if (ready == 0 || errno != EINTR) return false;
  }
}

}  // namespace tidra
