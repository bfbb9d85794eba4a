// Points in time for people.
#pragma once

#include <string>

#include "core/base/time_point.h"

namespace tidra {

/// "2026-03-14 11:15", in the time zone of this process.
std::string localTime(TimePoint moment);

}  // namespace tidra
