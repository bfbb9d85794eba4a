#include "core/session/project_activity_reader.h"

#include <chrono>

#include "core/platform/spare_threads.h"
#include "core/scan/folder_node.h"

namespace tidra {
namespace {

/// Starting a process costs processor time, waiting for a slow repository does not: enough for some to hang while
/// others answer.
constexpr unsigned mostThreads = 12;

/// As many as can wait side by side, so that all hanging repositories together cost about one time limit.
constexpr std::size_t mostHangs = mostThreads;

}  // namespace

ProjectActivityReader::ProjectActivityReader(std::optional<std::string> git, TidraPathResolver resolver)
    : reader_(std::move(git), std::move(resolver), [this] { return cancelled_.load(); }) {}

ProjectActivityReader::~ProjectActivityReader() {
  {
    const std::lock_guard lock(mutex_);
    closed_ = true;
    cancelled_ = true;
  }
  waitingChanged_.notify_all();
}

void ProjectActivityReader::add(const std::string& project) {
  if (!seen_.insert(project).second) return;
  if (!reader_.isRepository(project)) {
    // Two questions to the file system cost less than handing them to a thread.
    const auto date = TidraGitMetadataReader::folderActivity(project);
    const std::lock_guard lock(mutex_);
    if (date) answers_.emplace(project, *date);
    return;
  }
  {
    const std::lock_guard lock(mutex_);
    waiting_.push(project);
    const bool allBusy = running_ + waiting_.size() > threads_.size();
    if (allBusy && threads_.size() < affordableTools(mostThreads)) {
      if (auto thread = startSpareThread([this] { work(); })) threads_.push_back(std::move(*thread));
    }
  }
  if (threads_.empty()) answerHere();
  waitingChanged_.notify_one();
}

std::optional<TimePoint> ProjectActivityReader::ask(const std::string& project) {
  if (cancelled_) return std::nullopt;
  if (hangs_ >= mostHangs) return TidraGitMetadataReader::folderActivity(project);
  const auto asked = std::chrono::steady_clock::now();
  const auto date = reader_.lastActivity(project);
  const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - asked;
  if (taken.count() >= TidraGitMetadataReader::commandTimeoutSeconds) ++hangs_;
  return date;
}

void ProjectActivityReader::answerHere() {
  const std::string project = std::move(waiting_.front());
  waiting_.pop();
  if (const auto date = ask(project)) answers_.emplace(project, *date);
}

void ProjectActivityReader::work() {
  std::unique_lock lock(mutex_);
  for (;;) {
    waitingChanged_.wait(lock, [this] { return closed_ || !waiting_.empty(); });
    if (closed_) return;
    const std::string project = std::move(waiting_.front());
    waiting_.pop();
    ++running_;
    lock.unlock();
    const auto date = ask(project);
    lock.lock();
    --running_;
    if (date && !cancelled_) answers_.emplace(project, *date);
    if (waiting_.empty() && running_ == 0) answered_.notify_all();
  }
}

bool ProjectActivityReader::waitFor(std::chrono::milliseconds most) {
  std::unique_lock lock(mutex_);
  return answered_.wait_for(lock, most, [this] { return waiting_.empty() && running_ == 0; });
}

std::map<std::string, TimePoint> ProjectActivityReader::answers() {
  const std::lock_guard lock(mutex_);
  return answers_;
}

}  // namespace tidra
