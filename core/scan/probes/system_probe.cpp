#include "core/scan/probes/system_probe.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <utility>

#include "core/base/text.h"
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

/// Keeps tools from making files while they answer.
constexpr std::array<std::pair<const char*, const char*>, 3> leavingNothing{{
    {"npm_config_logs_max", "0"},       // a log per call
    {"npm_config_cache", "/dev/null"},  // npm makes its cache folder at any question
    {"PYTHONDONTWRITEBYTECODE", "1"},   // pip and conda: compiled modules in their environment
}};

}  // namespace

ToolAnswer SystemProbeContext::ask(const std::string& executable, std::vector<std::string> arguments,
                                   double timeoutSeconds, const std::optional<std::string>& pathFirst) const {
  Environment environment = resolver.environment;
  environment["LC_ALL"] = "C";
  environment["HOME"] = resolver.home;
  for (const auto& [name, value] : leavingNothing) environment[name] = value;
  environment["PATH"] = ProcessRunner::safeSearchPath(environment, pathFirst);
  const auto started = std::chrono::steady_clock::now();
  auto result = ProcessRunner::run({.executablePath = executable,
                                    .arguments = std::move(arguments),
                                    .currentDirectory = "/",
                                    .environment = std::move(environment),
                                    .timeoutSeconds = timeoutSeconds,
                                    .shouldCancel = shouldCancel});
  if (result && result->status == 0) return {std::move(result->stdout_), false};
  const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - started;
  return {std::nullopt, !result && passed.count() >= timeoutSeconds};
}

ToolQuestions::ToolQuestions(const SystemProbeContext& context, const std::string& path, double timeoutSeconds,
                             bool throughEnv)
    : context_(context), path_(path), timeoutSeconds_(timeoutSeconds), throughEnv_(throughEnv) {}

std::optional<std::string> ToolQuestions::ask(std::vector<std::string> arguments) {
  if (hung_ || context_.isCancelled()) return std::nullopt;
  // The words before the first option identify the question; later ones are names of containers and the like.
  std::vector<std::string> words;
  for (const std::string& argument : arguments) {
    if (!words.empty() && argument.starts_with('-')) break;
    words.push_back(argument);
  }
  if (throughEnv_) arguments.insert(arguments.begin(), std::string(lastPathComponent(path_)));
  auto answer = context_.ask(throughEnv_ ? "/usr/bin/env" : path_, std::move(arguments), timeoutSeconds_,
                             throughEnv_ ? std::optional(parentPath(path_)) : std::nullopt);
  hung_ = answer.hung;
  if (!answer.text) unanswered_.push_back(joined(words, " "));
  return std::move(answer.text);
}

std::optional<std::string> ToolQuestions::note() const {
  if (unanswered_.empty() || context_.isCancelled()) return std::nullopt;
  std::string text = fmt::format("{} did not answer: {}.", lastPathComponent(path_), joined(unanswered_, ", "));
  if (hung_) text += fmt::format(" After {} seconds it was asked nothing more.", timeoutSeconds_);
  return text;
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
