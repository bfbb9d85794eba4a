// Group commit: the first thread becomes the leader and processes everything queued so far; the others wait for its
// result. Items that arrive meanwhile form the next group.
#pragma once

#include <condition_variable>
#include <exception>
#include <functional>
#include <mutex>
#include <utility>
#include <vector>

namespace tidra {

template <class Item>
class CombinedWork {
 public:
  using Work = std::function<void(std::vector<Item*>& items)>;

  /// `work` runs on one thread at a time, the leader's, which receives its exceptions.
  explicit CombinedWork(Work work) : work_(std::move(work)) {}

  /// Returns once `item` has been processed.
  void run(Item& item) {
    Entry own{&item};
    std::unique_lock guard(lock_);
    waiting_.push_back(&own);
    turn_.wait(guard, [&] { return own.isDone || !isWorking_; });
    if (own.isDone) return;
    isWorking_ = true;
    const std::vector<Entry*> taken = std::exchange(waiting_, {});
    guard.unlock();
    std::exception_ptr failure;
    try {
      std::vector<Item*> items;
      items.reserve(taken.size());
      for (const Entry* entry : taken) items.push_back(entry->item);
      work_(items);
    } catch (...) {
      failure = std::current_exception();
    }
    guard.lock();
    for (Entry* entry : taken) entry->isDone = true;
    isWorking_ = false;
    turn_.notify_all();
    if (failure) std::rethrow_exception(failure);
  }

 private:
  struct Entry {
    Item* item = nullptr;
    bool isDone = false;
  };

  const Work work_;
  std::mutex lock_;  // guards the rest
  std::condition_variable turn_;
  std::vector<Entry*> waiting_;
  bool isWorking_ = false;
};

}  // namespace tidra
