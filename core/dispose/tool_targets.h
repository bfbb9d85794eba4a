// Targets that only a tool can remove: container space, Conda's packages and environments, the cache of an
// environment's pip.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "core/platform/path_resolver.h"

namespace tidra {

struct ToolTargets {
  static constexpr double timeoutSeconds = 600;

  struct Command {
    std::string executable;  // absolute
    std::vector<std::string> arguments;
    std::optional<std::string> searchPathFirst = {};  // put before the safe part of the search path
  };

  /// The command that removes a target. Throws DisposalError when its tool is missing or the target is unknown.
  static Command commandFor(const std::string& target, const TidraPathResolver& resolver);

  /// Runs it; blocks for up to ten minutes. Throws DisposalError when it does not succeed.
  static void run(const Command& command, const TidraPathResolver& resolver,
                  const std::function<bool()>& shouldCancel = {});
};

}  // namespace tidra
