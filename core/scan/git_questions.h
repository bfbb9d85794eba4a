// What the questions to git share: many repositories in parallel.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "core/platform/spare_threads.h"

namespace tidra {

inline constexpr std::int32_t gitFatal = 128;  // git's exit status for fatal errors
inline constexpr std::int32_t gitNoMatch = 1;  // of "git config" that finds nothing

/// Calls `ask(i)` for each i below `count` on several threads and waits for them. Stops when `shouldCancel` returns
/// true.
template <class Ask>
void askRepositories(std::size_t count, const std::function<bool()>& shouldCancel, Ask ask) {
  constexpr std::size_t mostThreads = 8;
  std::atomic<std::size_t> next{0};
  runOnThreads(std::min(mostThreads, count), [&] {
    for (std::size_t i = next++; i < count; i = next++) {
      if (shouldCancel && shouldCancel()) return;
      ask(i);
    }
  });
}

}  // namespace tidra
