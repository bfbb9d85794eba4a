// A pool of workers that visits each folder of a tree exactly once.
//
// Work stealing: every worker has its own stack (LIFO), which keeps it as small as the tree is deep. An idle worker
// steals the older half of another's stack, where the large subtrees are. Workers mostly wait for the disk, so there
// are more of them than processors. One worker begins: a small tree takes less time than starting the others.
#pragma once

#include <algorithm>
#include <atomic>
#include <cassert>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "core/base/joining_thread.h"
#include "core/platform/directory_reader.h"
#include "core/platform/path_text.h"
#include "core/platform/spare_threads.h"
#include "core/scan/folder_node.h"

namespace tidra {

/// The default number of workers, measured with warm and cold caches.
unsigned defaultScanWorkers();

/// A folder that could not be opened.
struct UnopenedFolder {
  const FolderNode* parent;  // null for a first folder
  const std::string& name;   // one component; the whole path for a first folder

  std::string path() const { return parent == nullptr ? name : joinedPath(parent->path(), name); }
};

/// `Context` is what a folder hands to its subfolders, by value. `Visitor` has, called from any worker at any time:
///   void visit(Visit&)                                     reads one folder and names the subfolders to visit
///   void couldNotOpen(const Context&, std::error_code, const UnopenedFolder&)   it vanished or must not be read
template <class Context, class Visitor>
class FolderTraversal {
 public:
  /// One folder being visited by a worker.
  class Visit {
   public:
    const std::shared_ptr<FolderNode>& node() const { return node_; }
    const Context& context() const { return context_; }
    Context& context() { return context_; }
    /// Returns the worker's reader, not started.
    DirectoryReader& reader() { return reader_; }
    /// Returns the worker's index, below the number of workers.
    unsigned worker() const { return worker_; }

    /// Queues a subfolder for any worker.
    void descend(std::string_view name, Context context) {
      subfolders_.emplace_back(std::string(name), std::move(context));
    }

    /// Undoes descend() for subfolders whose name `isUnwanted` accepts.
    template <class Predicate>
    void forget(Predicate isUnwanted) {
      std::erase_if(subfolders_, [&](const auto& subfolder) { return isUnwanted(std::string_view(subfolder.first)); });
    }

   private:
    friend class FolderTraversal;
    Visit(std::shared_ptr<FolderNode> node, Context context, DirectoryReader& reader, unsigned worker)
        : node_(std::move(node)), context_(std::move(context)), reader_(reader), worker_(worker) {}

    std::shared_ptr<FolderNode> node_;
    Context context_;
    DirectoryReader& reader_;
    unsigned worker_;
    std::vector<std::pair<std::string, Context>> subfolders_;
  };

  FolderTraversal(Visitor& visitor, unsigned workers) : visitor_(visitor), stacks_(affordableWorkers(workers)) {}
  ~FolderTraversal() {
    cancel();
    threads_.clear();
  }

  /// Adds a tree. Opening its first folder follows symbolic links. Call before run().
  void addRoot(const std::string& path, Context context) { addFirst({nullptr, path, std::move(context), {}}); }

  /// Adds a tree by the open descriptor of its first folder, which is never looked up by path again. `path` is used for
  /// FolderNode::path() only. Call before run().
  void addRoot(FileDescriptor folder, const std::string& path, Context context) {
    assert(folder);
    addFirst({nullptr, path, std::move(context), std::move(folder)});
  }

  /// Visits every folder and returns true, or false if it was cancelled. Polls `shouldCancel` on the caller's thread,
  /// the first time before any folder is visited, and calls `onPoll` while that returns false. Both may be empty.
  bool run(const std::function<bool()>& shouldCancel, const std::function<void()>& onPoll = {}) {
    assert(threads_.empty());
    bool cancelled = false;
    const auto cancelWhenAsked = [&] {
      if (cancelled || !shouldCancel || !shouldCancel()) return;
      cancelled = true;
      cancel();
    };
    cancelWhenAsked();
    startUpTo(queued_ < enoughForAll ? 1 : stacks_.size());
    constexpr std::chrono::milliseconds interval{10};
    for (bool done = waitAlone(); !done; done = waitFor(interval)) {
      if (queued_ > 0) startUpTo(stacks_.size());
      if (!cancelled && onPoll) onPoll();
      cancelWhenAsked();
    }
    assert(outstanding_ == 0 && queued_ == 0);
    return !cancelled;
  }

  /// Makes workers skip folders not yet begun. Returns immediately.
  void cancel() {
    cancelled_ = true;
    wakeAll();
  }
  bool isCancelled() const { return cancelled_.load(std::memory_order_relaxed); }

 private:
  struct Task {
    std::shared_ptr<FolderNode> parent;  // null for a first folder
    std::string name;                    // one component; the whole path for a first folder
    Context context;
    FileDescriptor opened;  // descriptor of a first folder passed open
  };
  struct Stack {
    std::mutex mutex;
    std::deque<Task> tasks;
  };

  /// Starts workers, as far as the system allows, until there are `count`; they exit after the last folder. If none can
  /// be started, waitFor() does their work.
  void startUpTo(std::size_t count) {
    for (auto i = static_cast<unsigned>(threads_.size()); i < count; ++i) {
      auto thread = startSpareThread([this, i] { work(i); });
      if (!thread) return;
      threads_.push_back(std::move(*thread));
    }
  }

  /// Waits until every folder is visited or the time expires; returns whether all is done.
  bool waitFor(std::chrono::milliseconds most) {
    if (threads_.empty()) return workFor(most);
    std::unique_lock lock(mutex_);
    return finished_.wait_for(lock, most, [this] { return isDone(); });
  }

  /// As waitFor(), but returns as soon as there is work for all workers, and after 5 ms at the latest, so that a slow
  /// disk gets all workers.
  bool waitAlone() {
    constexpr std::chrono::milliseconds most{5};
    if (threads_.empty()) return workFor(most);
    std::unique_lock lock(mutex_);
    finished_.wait_for(lock, most, [this] { return hasEnoughForAll_ || isDone(); });
    return isDone();
  }

  bool isDone() const { return working_ == 0 && started_ == threads_.size(); }

  void work(unsigned self) {
    {
      const std::lock_guard lock(mutex_);
      ++working_;
      ++started_;
    }
    DirectoryReader reader;
    Task task;
    while (takeOwn(self, task) || steal(self, task) || waitAndSteal(self, task)) {
      if (!isCancelled()) visit(self, task, reader);
      task = Task{};
      if (--outstanding_ == 0) wakeAll();
    }
    const std::lock_guard lock(mutex_);
    --working_;
    finished_.notify_all();
  }

  bool workFor(std::chrono::milliseconds most) {
    const auto until = std::chrono::steady_clock::now() + most;
    DirectoryReader reader;
    for (Task task; takeOwn(0, task); task = Task{}) {
      if (!isCancelled()) visit(0, task, reader);
      --outstanding_;
      if (std::chrono::steady_clock::now() >= until) break;
    }
    return outstanding_ == 0;
  }

  void addFirst(Task task) {
    assert(threads_.empty());
    stacks_[0].tasks.push_back(std::move(task));
    ++outstanding_;
    ++queued_;
  }

  static Outcome<FileDescriptor> open(Task& task) {
    if (task.opened) return std::move(task.opened);
    return task.parent ? task.parent->openExpected(task.name.c_str()) : openDirectory(task.name);
  }

  void visit(unsigned self, Task& task, DirectoryReader& reader) {
    const bool anchored = static_cast<bool>(task.opened);
    auto opened = open(task);
    if (!opened) return visitor_.couldNotOpen(task.context, opened.failure(), {task.parent.get(), task.name});
    auto node = std::make_shared<FolderNode>(std::move(task.parent), std::move(task.name), std::move(*opened));
    if (anchored) node->holdDescriptor();
    Visit visit(std::move(node), std::move(task.context), reader, self);
    visitor_.visit(visit);
    push(self, visit);
  }

  void push(unsigned self, Visit& visit) {
    const std::size_t count = visit.subfolders_.size();
    visit.node_->expectSubfolders(count, FolderNode::openDescriptors() < descriptorBudget());
    if (count == 0) return;
    outstanding_ += static_cast<std::int64_t>(count);
    queued_ += static_cast<std::int64_t>(count);
    {
      const std::lock_guard lock(stacks_[self].mutex);
      for (auto next = visit.subfolders_.rbegin(); next != visit.subfolders_.rend(); ++next) {
        stacks_[self].tasks.push_back({visit.node_, std::move(next->first), std::move(next->second), {}});
      }
    }
    if (queued_ >= enoughForAll && !hasEnoughForAll_.exchange(true)) {
      const std::lock_guard lock(mutex_);
      finished_.notify_all();
    }
    // This worker takes one of them itself.
    wake(count - 1);
  }

  bool takeOwn(unsigned self, Task& task) {
    const std::lock_guard lock(stacks_[self].mutex);
    auto& tasks = stacks_[self].tasks;
    if (tasks.empty()) return false;
    task = std::move(tasks.back());
    tasks.pop_back();
    --queued_;
    assert(queued_ >= 0);
    return true;
  }

  /// Takes the older half of another worker's stack.
  bool steal(unsigned self, Task& task) {
    for (std::size_t step = 1; step < stacks_.size(); ++step) {
      Stack& victim = stacks_[(self + step) % stacks_.size()];
      std::deque<Task> loot;
      {
        const std::lock_guard lock(victim.mutex);
        const std::size_t count = (victim.tasks.size() + 1) / 2;
        for (std::size_t i = 0; i < count; ++i) {
          loot.push_back(std::move(victim.tasks.front()));
          victim.tasks.pop_front();
        }
      }
      if (loot.empty()) continue;
      task = std::move(loot.back());
      loot.pop_back();
      --queued_;
      const std::lock_guard lock(stacks_[self].mutex);
      for (Task& stolen : loot) stacks_[self].tasks.push_back(std::move(stolen));
      return true;
    }
    return false;
  }

  /// Blocks until there is work to steal; returns false when all work is done.
  bool waitAndSteal(unsigned self, Task& task) {
    for (;;) {
      {
        std::unique_lock lock(mutex_);
        ++idle_;
        workChanged_.wait(lock, [this] { return queued_ > 0 || outstanding_ == 0; });
        --idle_;
      }
      if (takeOwn(self, task) || steal(self, task)) return true;
      if (outstanding_ == 0) return false;
    }
  }

  /// Workers sleep only while nothing is queued, so each push wakes as many as it has work for.
  void wake(std::size_t count) {
    if (count == 0 || idle_ == 0) return;
    const std::lock_guard lock(mutex_);
    for (std::size_t i = 0; i < count && i < static_cast<std::size_t>(idle_); ++i) workChanged_.notify_one();
  }

  void wakeAll() {
    const std::lock_guard lock(mutex_);
    workChanged_.notify_all();
  }

  static constexpr std::int64_t enoughForAll = 16;  // queued folders

  Visitor& visitor_;
  std::vector<Stack> stacks_;
  std::atomic<std::int64_t> outstanding_{0};  // folders pushed and not yet done
  std::atomic<std::int64_t> queued_{0};       // folders waiting in a stack
  std::atomic<int> idle_{0};
  std::atomic<bool> hasEnoughForAll_{false};
  std::atomic<bool> cancelled_{false};
  std::mutex mutex_;  // guards started_ and working_; serialises wake-ups with waiting
  std::condition_variable workChanged_;
  std::condition_variable finished_;
  std::size_t started_ = 0;
  std::size_t working_ = 0;
  std::vector<JoiningThread> threads_;
};

}  // namespace tidra
