// Targets that only a tool can remove: Docker volumes and caches, Conda packages and environments, pip caches of
// virtual environments.
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
    std::optional<std::string> searchPathFirst = {};  // prepended to the safe search path
  };

  /// Whether a tool removes it. Narrower than isToolBackedTarget(), which also takes other "pip:" texts for display.
  static bool isTarget(std::string_view path);

  /// Returns the command that removes a target. Throws DisposalError if its tool is missing or the target unknown.
  Command commandFor(const std::string& target, const TidraPathResolver& resolver) const;

  /// Runs a command and returns its standard output. Blocks until it exits; kills it at the timeout or when
  /// `shouldCancel` returns true. Throws DisposalError unless it succeeds.
  std::string run(const Command& command, const TidraPathResolver& resolver,
                  const std::function<bool()>& shouldCancel = {}) const;

  /// Returns the command for display, "docker volume rm data"; empty for an unknown target.
  static std::string commandLine(const std::string& target);
  /// Returns "docker", "conda" or "pip".
  static std::string_view toolOf(std::string_view target);
  /// False for volumes and environments, whose data cannot be recreated; true for caches.
  static bool canBeUndone(std::string_view target);

  // Replaceable for tests.
  std::function<std::optional<std::string>(const Environment&)> findEngine = DockerArtifactProbe::findEngine;
  double timeoutSeconds = 600;
};

}  // namespace tidra
