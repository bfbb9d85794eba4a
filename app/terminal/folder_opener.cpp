#include "app/terminal/folder_opener.h"

#include "core/platform/directory_reader.h"
#include "core/platform/path_text.h"
#include "core/platform/platform.h"
#include "core/platform/process_runner.h"

namespace tidra {
namespace {

bool hasDesktop(const Environment& environment) {
  if (currentPlatform == TidraPlatform::macOS) return true;
  const auto isSet = [&](const char* name) {
    const auto found = environment.find(name);
    return found != environment.end() && !found->second.empty();
  };
  return isSet("DISPLAY") || isSet("WAYLAND_DISPLAY");
}

/// The file manager must outlive the command, whose whole process group ends with it.
std::optional<ProcessRunner::Command> commandFor(const std::string& folder, const Environment& environment) {
  const bool isMac = currentPlatform == TidraPlatform::macOS;
  const auto opener = ProcessRunner::which(isMac ? "open" : "xdg-open", environment);
  const auto apart = isMac ? opener : ProcessRunner::which("setsid", environment);
  if (!opener || !apart) return std::nullopt;
  ProcessRunner::Command command{.executablePath = *apart, .environment = environment, .timeoutSeconds = 2};
  if (!isMac) command.arguments = {"--fork", *opener};
  command.arguments.push_back(folder);
  return command;
}

}  // namespace

std::string openInFileManager(const std::string& path, const Environment& environment) {
  if (!path.starts_with('/')) return "This line stands for no folder";
  const std::string folder = openDirectory(path) ? path : parentPath(path);
  if (!hasDesktop(environment))
    return "There is no desktop here in which " + folder + " could be opened; y copies the path";
  const auto command = commandFor(folder, environment);
  const auto result = command ? ProcessRunner::run(*command) : std::nullopt;
  return result && result->status == 0 ? "Opened " + folder : "No file manager could be started for " + folder;
}

}  // namespace tidra
