// Optional helper threads. RLIMIT_NPROC may forbid more threads; the work then runs on fewer, or on the caller's.
#pragma once

#include <functional>
#include <future>
#include <optional>
#include <system_error>
#include <utility>
#include <vector>

#include "core/base/joining_thread.h"

namespace tidra {

/// Starts a thread that runs `work`; nullopt when the system allows no more.
template <class Work>
[[nodiscard]] std::optional<JoiningThread> startSpareThread(Work work) {
  try {
    return JoiningThread(std::move(work));
  } catch (const std::system_error&) {
    return std::nullopt;
  }
}

/// Runs `work` on up to `count` threads and waits for all; on the caller's thread if none can be started.
template <class Work>
void runOnThreads(std::size_t count, Work work) {
  std::vector<JoiningThread> threads;
  while (threads.size() < count) {
    auto thread = startSpareThread(std::ref(work));
    if (!thread) break;
    threads.push_back(std::move(*thread));
  }
  if (threads.empty() && count > 0) work();
}

/// Runs `work` on its own thread and returns a future that waits in its destructor. If no thread can be started, `work`
/// runs on the caller's before this returns.
template <class Work>
[[nodiscard]] auto startTask(Work work) -> std::future<decltype(work())> {
  try {
    return std::async(std::launch::async, work);
  } catch (const std::system_error&) {
    std::packaged_task<decltype(work())()> task(std::move(work));
    task();
    return task.get_future();
  }
}

}  // namespace tidra
