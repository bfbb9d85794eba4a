#include "core/dispose/tool_targets.h"

#include <fmt/format.h>

#include "core/base/text.h"
#include "core/dispose/disposal_error.h"
#include "core/model/scan_artifact_finding.h"
#include "core/platform/files.h"
#include "core/platform/path_text.h"
#include "core/platform/process_runner.h"
#include "core/scan/probes/conda_probe.h"
#include "core/scan/probes/pip_orphan_probe.h"

namespace tidra {
namespace {

constexpr std::string_view volumePrefix = "docker:volume:";
constexpr std::string_view condaEnvironmentPrefix = "conda:env:";

/// Returns the name after a prefix; nullopt when it is empty or begins with "-" (option injection).
std::optional<std::string> nameAfter(const std::string& target, std::string_view prefix) {
  if (!target.starts_with(prefix) || target.size() == prefix.size() || target[prefix.size()] == '-') {
    return std::nullopt;
  }
  return target.substr(prefix.size());
}

std::vector<std::string> dockerArguments(const std::string& target) {
  if (target == "docker:prune:dangling") return {"image", "prune", "-f"};
  if (target == "docker:prune:buildcache") return {"builder", "prune", "-f"};
  if (const auto volume = nameAfter(target, volumePrefix)) return {"volume", "rm", *volume};
  throw DisposalError("Unknown Docker target");
}

std::vector<std::string> condaArguments(const std::string& target) {
  if (target == "conda:clean:packages") return {"conda", "clean", "--packages", "-y"};
  if (target == "conda:clean:tarballs") return {"conda", "clean", "--tarballs", "-y"};
  if (target == "conda:clean:index-cache") return {"conda", "clean", "--index-cache", "-y"};
  if (const auto name = nameAfter(target, condaEnvironmentPrefix)) return {"conda", "env", "remove", "-n", *name, "-y"};
  throw DisposalError("Unknown Conda target");
}

ToolTargets::Command condaCommand(const std::string& target, const TidraPathResolver& resolver) {
  ToolTargets::Command command{"/usr/bin/env", condaArguments(target)};
  if (const auto conda = CondaProbe::find(resolver)) command.searchPathFirst = parentPath(*conda);
  return command;
}

std::vector<std::string> pipArguments() { return {"cache", "purge"}; }

std::string environmentOf(const std::string& target) { return target.substr(pipTargetPrefix.size()); }

ToolTargets::Command pipCommand(const std::string& target, const TidraPathResolver& resolver) {
  const std::string environment = environmentOf(target);
  const std::string pip = joinedPath(environment, "bin/pip");
  if (!environment.starts_with('/') || !isExecutableFile(pip)) throw DisposalError("pip not found in venv");
  if (!PipOrphanProbe::isTrustworthy(environment, resolver)) {
    throw DisposalError("pip of this venv is not run: it was not made here, or others may change it");
  }
  return {pip, pipArguments()};
}

/// Returns `first`, the folders of PATH that are owned by the user or root and not world-writable, and the usual ones.
std::string safeSearchPath(const TidraPathResolver& resolver, const std::optional<std::string>& first) {
  std::vector<std::string> folders;
  if (first) folders.push_back(*first);
  const auto given = resolver.environment.find("PATH");
  const std::string searched = given == resolver.environment.end() ? "" : given->second;
  for (const std::string_view folder : splitNonEmpty(searched, ':')) {
    const std::string path(folder);
    if (path.starts_with('/') && isOwnedAndPrivate(path)) folders.push_back(path);
  }
  for (const char* usual : {"/usr/local/bin", "/usr/bin", "/bin"}) folders.emplace_back(usual);
  return joined(folders, ":");
}

}  // namespace

bool ToolTargets::isTarget(std::string_view path) {
  return isToolBackedTarget(path) && (!path.starts_with("pip:") || path.starts_with(pipTargetPrefix));
}

ToolTargets::Command ToolTargets::commandFor(const std::string& target, const TidraPathResolver& resolver) const {
  if (target.starts_with("docker:")) {
    const auto engine = findEngine(resolver.environment);
    if (!engine) throw DisposalError("Docker not found");
    return {*engine, dockerArguments(target)};
  }
  if (target.starts_with("conda:")) return condaCommand(target, resolver);
  if (target.starts_with(pipTargetPrefix)) return pipCommand(target, resolver);
  throw DisposalError("Unknown target");
}

std::string ToolTargets::commandLine(const std::string& target) {
  try {
    if (target.starts_with("docker:")) return "docker " + joined(dockerArguments(target), " ");
    if (target.starts_with("conda:")) return joined(condaArguments(target), " ");
    if (target.starts_with(pipTargetPrefix)) {
      return joinedPath(environmentOf(target), "bin/pip") + " " + joined(pipArguments(), " ");
    }
  } catch (const DisposalError&) {
    return "";
  }
  return "";
}

std::string_view ToolTargets::toolOf(std::string_view target) { return target.substr(0, target.find(':')); }

bool ToolTargets::canBeUndone(std::string_view target) {
  return !target.starts_with(volumePrefix) && !target.starts_with(condaEnvironmentPrefix);
}

std::string ToolTargets::run(const Command& command, const TidraPathResolver& resolver,
                             const std::function<bool()>& shouldCancel) const {
  Environment environment = resolver.environment;
  environment["LC_ALL"] = "C";
  environment["HOME"] = resolver.home;
  environment["PATH"] = safeSearchPath(resolver, command.searchPathFirst);
  auto result = ProcessRunner::run({.executablePath = command.executable,
                                    .arguments = command.arguments,
                                    .currentDirectory = "/",
                                    .environment = std::move(environment),
                                    .timeoutSeconds = timeoutSeconds,
                                    .shouldCancel = shouldCancel});
  if (!result && shouldCancel && shouldCancel()) throw DisposalError("was interrupted; its tool was stopped");
  if (!result) throw DisposalError("Command could not be started or timed out");
  if (result->status != 0) throw DisposalError(fmt::format("Command failed (exit {})", result->status));
  return std::move(result->stdout_);
}

}  // namespace tidra
