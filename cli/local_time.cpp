#include "cli/local_time.h"

#include <fmt/chrono.h>

namespace tidra {

std::string localTime(TimePoint moment) {
  return fmt::format("{:%Y-%m-%d %H:%M}", fmt::localtime(std::chrono::system_clock::to_time_t(moment)));
}

}  // namespace tidra
