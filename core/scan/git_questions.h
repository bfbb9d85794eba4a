// What the questions to git share: many repositories in parallel, and the files in ".git" that git need not be asked
// for.
#pragma once

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "core/platform/spare_threads.h"
#include "core/scan/git_metadata.h"

namespace tidra {

inline constexpr std::int32_t gitFatal = 128;  // git's exit status for fatal errors

/// Returns the folder that a repository's ".git" is or names; nullopt if ".git" is neither.
std::optional<std::string> gitFolderOf(const std::string& repository);

/// Returns the file that lists what was checked out and committed in a repository. git creates it with the first
/// commit.
std::string reflogOf(const std::string& gitFolder);

/// Calls `ask(i)` for each i below `count` on several threads and waits for them. Stops after repeated timeouts of git
/// and when `shouldCancel` returns true.
template <class Ask>
void askRepositories(std::size_t count, const std::function<bool()>& shouldCancel, Ask ask) {
  constexpr std::size_t mostThreads = 8;
  constexpr std::size_t mostHangs = 8;
  std::atomic<std::size_t> next{0};
  std::atomic<std::size_t> hangs{0};
  runOnThreads(std::min(mostThreads, count), [&] {
    for (std::size_t i = next++; i < count && hangs < mostHangs; i = next++) {
      if (shouldCancel && shouldCancel()) return;
      const auto asked = std::chrono::steady_clock::now();
      ask(i);
      const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - asked;
      if (taken.count() >= TidraGitMetadataReader::commandTimeoutSeconds) ++hangs;
    }
  });
}

}  // namespace tidra
