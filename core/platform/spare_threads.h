// Threads that help but are not needed. A user may be allowed only so many (RLIMIT_NPROC), which must not end the work:
// whoever gets no thread goes on with fewer, or does the work itself.
#pragma once

#include <functional>
#include <future>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace tidra {

/// A thread that runs `work`; none when the system allows no more.
template <class Work>
[[nodiscard]] std::optional<std::jthread> startSpareThread(Work work) {
  try {
    return std::jthread(std::move(work));
  } catch (const std::system_error&) {
    return std::nullopt;
  }
}

/// Runs `work` on up to `count` threads at once and waits for all of them; on the caller's where there is none.
template <class Work>
void runOnThreads(std::size_t count, Work work) {
  std::vector<std::jthread> threads;
  while (threads.size() < count) {
    auto thread = startSpareThread(std::ref(work));
    if (!thread) break;
    threads.push_back(std::move(*thread));
  }
  if (threads.empty() && count > 0) work();
}

/// The result of `work`, which runs on a thread of its own; the future waits for it when it is destroyed. Where there
/// is no thread, `work` has run on the caller's by the time that this returns.
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
