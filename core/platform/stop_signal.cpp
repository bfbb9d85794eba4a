#include "core/platform/stop_signal.h"

#include <poll.h>

#include <algorithm>
#include <array>

#include "core/base/errors.h"
#include "core/platform/pipe.h"

namespace tidra {

StopSignal::StopSignal() {
  std::array<int, 2> ends{-1, -1};
  if (!openPipe(ends)) throw std::system_error(lastSystemError(), "no pipe can be opened");
  reading_ = FileDescriptor(ends[0]);
  writing_ = FileDescriptor(ends[1]);
  // Raising twice or often must never wait for somebody to read.
  ::fcntl(writing_.get(), F_SETFL, O_NONBLOCK);
}

void StopSignal::raise() noexcept {
  // Nobody reads the byte, so the pipe stays readable. EAGAIN means that it is full of such bytes already.
  while (::write(writing_.get(), "", 1) < 0 && errno == EINTR) {
  }
}

bool StopSignal::waitFor(std::chrono::milliseconds most) const {
  using Clock = std::chrono::steady_clock;
  const auto deadline = Clock::now() + most;
  for (;;) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
    pollfd watched{reading_.get(), POLLIN, 0};
    const int ready = ::poll(&watched, 1, static_cast<int>(std::max<std::chrono::milliseconds::rep>(left.count(), 0)));
    if (ready > 0) return true;
    if (ready == 0 || errno != EINTR) return false;
  }
}

}  // namespace tidra
