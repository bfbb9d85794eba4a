// Jobs over the folders "code" and "home" of a session.
#pragma once

#include <atomic>
#include <condition_variable>
#include <functional>
#include <future>
#include <mutex>

#include "tests/core/session/cleanup_fixture.h"

namespace tidra {

/// What a face does when it is woken.
class Bell {
 public:
  std::function<void()> ringing() {
    return [this] { ring(); };
  }
  void ring() {
    const std::lock_guard lock(mutex_);
    ++rings_;
    rung_.notify_all();
  }
  /// Blocks until it has rung since the last time.
  void wait() {
    std::unique_lock lock(mutex_);
    rung_.wait(lock, [this] { return rings_ > 0; });
    rings_ = 0;
  }
  int rings() {
    const std::lock_guard lock(mutex_);
    return rings_;
  }

 private:
  std::mutex mutex_;
  std::condition_variable rung_;
  int rings_ = 0;
};

/// Holds a thread up until it is opened.
class Gate {
 public:
  void pass() {
    if (!reached_.exchange(true)) arrival_.set_value();
    opened_.wait();
  }
  void waitForArrival() { arrival_.get_future().wait(); }
  void open() { opening_.set_value(); }

 private:
  std::atomic<bool> reached_{false};
  std::promise<void> arrival_;
  std::promise<void> opening_;
  std::shared_future<void> opened_ = opening_.get_future().share();
};

class JobTest : public CleanupSession {
 protected:
  static constexpr TimePoint clock() { return now; }

  /// Takes the news of a job until it has ended; `each` sees all of them.
  template <class Job, class Each>
  auto resultOf(Job& job, Bell& bell, Each each) {
    for (;;) {
      auto news = job.drain();
      each(news);
      if (news.result) return news.result;
      bell.wait();
    }
  }
};

}  // namespace tidra
