// A thread that joins in its destructor, like std::jthread, which Apple's libc++ lacks.
#pragma once

#include <concepts>
#include <thread>
#include <utility>

namespace tidra {

/// Owns at most one thread; destructor and move assignment join it.
class [[nodiscard]] JoiningThread {
 public:
  JoiningThread() = default;

  /// Starts a thread that runs `work`. Throws std::system_error when the system allows no more threads.
  template <std::invocable Work>
  explicit JoiningThread(Work work) : thread_(std::move(work)) {}

  JoiningThread(JoiningThread&&) noexcept = default;
  JoiningThread& operator=(JoiningThread&& other) noexcept {
    join();
    thread_ = std::move(other.thread_);
    return *this;
  }
  ~JoiningThread() { join(); }

  /// Blocks until the thread has ended; returns immediately if there is none.
  void join() {
    if (thread_.joinable()) thread_.join();
  }

 private:
  std::thread thread_;
};

}  // namespace tidra
