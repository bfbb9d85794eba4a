// Targets that only a tool can remove: container space, Conda's packages and environments, the cache of an
// environment's pip.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/platform/path_resolver.h"
#include "core/scan/probes/docker_probe.h"

namespace tidra {

struct ToolTargets {
  struct Command {
    std::string executable;  // absolute
    std::vector<std::string> arguments;
    std::optional<std::string> searchPathFirst = {};  // put before the safe part of the search path
  };

  /// The command that removes a target. Throws DisposalError when its tool is missing or the target is unknown.
  Command commandFor(const std::string& target, const TidraPathResolver& resolver) const;

  /// Runs it and returns what it printed; blocks until the tool has ended, time is up or `shouldCancel` says so: the
  /// tool is killed then. Throws DisposalError when it does not succeed.
  std::string run(const Command& command, const TidraPathResolver& resolver,
                  const std::function<bool()>& shouldCancel = {}) const;

  /// The same command for people, "docker volume rm data"; empty for an unknown target.
  static std::string commandLine(const std::string& target);
  /// The name of the tool: "docker", "conda" or "pip".
  static std::string_view toolOf(std::string_view target);
  /// False for what held something of its own: volumes and environments. Caches fill again.
  static bool canBeUndone(std::string_view target);

  // Other values than these serve tests.
  std::function<std::optional<std::string>(const Environment&)> findEngine = DockerArtifactProbe::findEngine;
  double timeoutSeconds = 600;
};

}  // namespace tidra
