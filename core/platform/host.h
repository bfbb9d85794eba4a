// Name of this machine and of the running user.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "core/platform/path_resolver.h"

namespace tidra {

struct TidraHost {
  /// Returns TIDRA_HOSTNAME from the environment unless empty, else the operating system's host name, else
  /// "unknown-host".
  static std::string name(const Environment& environment);

  /// Returns the name of the effective user, or the user id if it has no name.
  static std::string userName();

  /// Returns the home folder of the effective user in the password database; nullopt when it has none, or one that is
  /// not absolute.
  static std::optional<std::string> homeFolder();

  /// Whether a group has no member but the effective user: named like the user, as many Linux systems make one for
  /// each, and with a umask of 002.
  static bool isOwnGroup(std::uint32_t group);
};

}  // namespace tidra
