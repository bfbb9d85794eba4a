// What a job has to say, from its thread to that of the face.
#pragma once

#include <functional>
#include <mutex>
#include <utility>

namespace tidra {

/// Collects changes to a Content until it is drained. Any thread may post, and any may drain.
template <class Content>
class Mailbox {
 public:
  /// `wake` is called on the posting thread when something is there again, and then not until it is drained. It must
  /// not throw; it may drain.
  explicit Mailbox(std::function<void()> wake) : wake_(std::move(wake)) {}

  /// Runs `change` on what is collected, under the lock.
  template <class Change>
  void post(const Change& change) {
    if (isFirst(change)) wake_();
  }

  /// Takes what is collected; an empty Content if that is nothing.
  Content drain() {
    const std::lock_guard lock(mutex_);
    isFilled_ = false;
    return std::exchange(content_, Content{});
  }

 private:
  template <class Change>
  bool isFirst(const Change& change) {
    const std::lock_guard lock(mutex_);
    change(content_);
    return !std::exchange(isFilled_, true);
  }

  std::mutex mutex_;
  Content content_;
  bool isFilled_ = false;
  const std::function<void()> wake_;
};

}  // namespace tidra
