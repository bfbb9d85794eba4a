// Who this machine is.
#pragma once

#include <string>

#include "core/platform/path_resolver.h"

namespace tidra {

struct TidraHost {
  /// The environment's TIDRA_HOSTNAME when it is not empty, else the operating system's host name, else "unknown-host".
  static std::string name(const Environment& environment);

  /// The name of the user this process acts as, or the user's number when it has none.
  static std::string userName();
};

}  // namespace tidra
