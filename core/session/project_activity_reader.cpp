#include "core/session/project_activity_reader.h"

namespace tidra {
namespace {

/// Starting a process costs processor time, waiting for a slow repository does not: enough for some to hang while
/// others answer.
constexpr std::size_t mostThreads = 12;

}  // namespace

ProjectActivityReader::ProjectActivityReader(std::optional<std::string> git, TidraPathResolver resolver)
    : reader_(std::move(git), std::move(resolver), [this] { return cancelled_.load(); }) {}

ProjectActivityReader::~ProjectActivityReader() {
  {
    const std::lock_guard lock(mutex_);
    closed_ = true;
    cancelled_ = true;
  }
  changed_.notify_all();
}

void ProjectActivityReader::add(const std::string& project) {
  if (!seen_.insert(project).second) return;
  {
    const std::lock_guard lock(mutex_);
    waiting_.push(project);
    const bool allBusy = running_ + waiting_.size() > threads_.size();
    if (allBusy && threads_.size() < mostThreads) threads_.emplace_back([this] { work(); });
  }
  changed_.notify_all();
}

void ProjectActivityReader::work() {
  std::unique_lock lock(mutex_);
  for (;;) {
    changed_.wait(lock, [this] { return closed_ || !waiting_.empty(); });
    if (closed_) return;
    const std::string project = std::move(waiting_.front());
    waiting_.pop();
    ++running_;
    lock.unlock();
    const auto date = cancelled_ ? std::nullopt : reader_.lastActivity(project);
    lock.lock();
    --running_;
    if (date && !cancelled_) answers_.emplace(project, *date);
    if (waiting_.empty() && running_ == 0) changed_.notify_all();
  }
}

bool ProjectActivityReader::waitFor(std::chrono::milliseconds most) {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, most, [this] { return waiting_.empty() && running_ == 0; });
}

std::map<std::string, TimePoint> ProjectActivityReader::answers() {
  const std::lock_guard lock(mutex_);
  return answers_;
}

}  // namespace tidra
