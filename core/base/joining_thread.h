// A thread that is joined by its destructor, as std::jthread, which libc++ on macOS lacks.
#pragma once

#include <concepts>
#include <thread>
#include <utility>

namespace tidra {

/// Owns at most one thread. The destructor and an assignment over it join that thread.
class JoiningThread {
 public:
  JoiningThread() = default;

  /// Starts `work` on a thread of its own. Throws std::system_error when the system allows no more threads.
  template <std::invocable Work>
  explicit JoiningThread(Work work) : thread_(std::move(work)) {}

  JoiningThread(JoiningThread&&) noexcept = default;
  JoiningThread& operator=(JoiningThread&& other) noexcept {
    join();
    thread_ = std::move(other.thread_);
    return *this;
  }
  ~JoiningThread() { join(); }

  /// Waits for the thread to end; returns at once if there is none.
  void join() {
    if (thread_.joinable()) thread_.join();
  }

 private:
  std::thread thread_;
};

}  // namespace tidra
