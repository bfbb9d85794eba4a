#include "core/scan/probes/system_probe.h"

#include <algorithm>

#include "core/platform/directory_reader.h"
#include "core/platform/path_text.h"

namespace tidra {
namespace {

template <class Use>
void forEachEntry(const std::string& folder, Use use) {
  const auto opened = openDirectory(folder);
  if (!opened) return;
  DirectoryReader reader;
  reader.start(opened->get());
  for (DirectoryEntry entry; reader.next(entry);) use(opened->get(), entry);
}

}  // namespace

std::optional<std::string> SystemProbeContext::output(const std::string& executable, std::vector<std::string> arguments,
                                                      double timeoutSeconds,
                                                      const std::optional<std::string>& pathFirst) const {
  Environment environment = resolver.environment;
  environment["LC_ALL"] = "C";
  environment["HOME"] = resolver.home;
  environment["npm_config_logs_max"] = "0";  // npm would keep a log of every question
  if (pathFirst) environment["PATH"] = *pathFirst + ":/usr/local/bin:/usr/bin:/bin";
  const auto result = ProcessRunner::run({.executablePath = executable,
                                          .arguments = std::move(arguments),
                                          .currentDirectory = "/",
                                          .environment = std::move(environment),
                                          .timeoutSeconds = timeoutSeconds,
                                          .shouldCancel = shouldCancel});
  if (!result || result->status != 0) return std::nullopt;
  return result->stdout_;
}

std::vector<std::string> ProbeFiles::entryNames(const std::string& folder) {
  std::vector<std::string> names;
  forEachEntry(folder, [&](int, const DirectoryEntry& entry) { names.emplace_back(entry.name); });
  std::sort(names.begin(), names.end());
  return names;
}

std::vector<std::string> ProbeFiles::subfolderNames(const std::string& folder) {
  std::vector<std::string> names;
  forEachEntry(folder, [&](int, const DirectoryEntry& entry) {
    if (entry.type == EntryType::directory) names.emplace_back(entry.name);
  });
  std::sort(names.begin(), names.end());
  return names;
}

bool ProbeFiles::isFolder(const std::string& path) {
  const auto facts = pathFacts(path);
  return facts && facts->type == EntryType::directory;
}

std::optional<TimePoint> ProbeFiles::modified(const std::string& path) {
  const auto facts = pathFacts(path);
  return facts ? std::optional(facts->modified) : std::nullopt;
}

std::optional<TimePoint> ProbeFiles::newestChild(const std::string& folder) {
  std::optional<TimePoint> newest;
  forEachEntry(folder, [&](int descriptor, const DirectoryEntry& entry) {
    const auto facts = entryFacts(descriptor, entry.name.data());
    if (facts && (!newest || *newest < facts->modified)) newest = facts->modified;
  });
  return newest;
}

}  // namespace tidra
