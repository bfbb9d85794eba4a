#include "core/session/project_activity_reader.h"

#include <algorithm>
#include <cassert>
#include <utility>

#include "core/platform/files.h"
#include "core/platform/path_text.h"
#include "core/platform/spare_threads.h"
#include "core/scan/folder_node.h"

namespace tidra {
namespace {

/// Waiting for slow repositories costs no processor time: enough threads that some can hang while others answer.
constexpr unsigned mostThreads = 12;

/// All hanging repositories together cost about one timeout, since they wait in parallel.
constexpr std::size_t mostHangs = mostThreads;

}  // namespace

ProjectActivityReader::ProjectActivityReader(std::optional<std::string> git, TidraPathResolver resolver)
    : home_(realPathOrSame(resolver.home)),
      reader_(std::move(git), std::move(resolver), [this] { return cancelled_.load(); }) {}

ProjectActivityReader::~ProjectActivityReader() {
  {
    const std::lock_guard lock(mutex_);
    closed_ = true;
    cancelled_ = true;
  }
  waitingChanged_.notify_all();
}

void ProjectActivityReader::add(const std::string& project, const std::string& folder,
                                const std::shared_ptr<const SourceDateReader>& sources) {
  if (!projects_.try_emplace(project, Project{project, folder, sources}).second) return;
  const std::string repository = repositoryOf(folder);
  const std::lock_guard lock(mutex_);
  if (repository.empty()) return enqueue(lock, [=, this] { readProject({project, folder, sources}, std::nullopt); });
  const auto [known, isNew] = repositories_.try_emplace(repository);
  if (known->second.isAsked) {
    return enqueue(lock, [=, this, commit = known->second.lastCommit] {
      readProject({project, folder, sources}, commit);
    });
  }
  known->second.waiting.push_back({project, folder, sources});
  if (isNew) enqueue(lock, [=, this] { askRepository(repository); });
}

void ProjectActivityReader::addAgain(const std::set<std::string>& projects) {
  const std::lock_guard lock(mutex_);
  for (const std::string& name : projects) {
    const auto added = projects_.find(name);
    if (added != projects_.end()) enqueue(lock, [this, &project = added->second] { readMore(project); });
  }
}

/// Returns empty if no repository determines the folder's date. Repositories of or above the home folder (settings
/// under version control) are unrelated to projects in it.
std::string ProjectActivityReader::repositoryOf(const std::string& folder) {
  const auto repository = repositoryFinder_.of(folder);
  if (!repository || (isSameOrInside(home_, *repository) && *repository != folder)) return {};
  return std::string(*repository);
}

/// Does nothing once closed: the destructor then joins `threads_` without the mutex.
void ProjectActivityReader::enqueue(const Lock& /*held*/, std::function<void()> task) {
  if (closed_) return;
  waiting_.push(std::move(task));
  const bool allBusy = running_ + waiting_.size() > threads_.size();
  if (allBusy && threads_.size() < affordableTools(mostThreads)) {
    if (auto thread = startSpareThread([this] { work(); })) threads_.push_back(std::move(*thread));
  }
  waitingChanged_.notify_one();
}

void ProjectActivityReader::work() {
  std::unique_lock lock(mutex_);
  for (;;) {
    waitingChanged_.wait(lock, [this] { return closed_ || !waiting_.empty(); });
    if (closed_) return;
    runNext(lock);
  }
}

void ProjectActivityReader::runNext(std::unique_lock<std::mutex>& lock) {
  assert(lock.owns_lock() && !waiting_.empty());
  const auto task = std::move(waiting_.front());
  waiting_.pop();
  ++running_;
  lock.unlock();
  if (!cancelled_) task();
  lock.lock();
  --running_;
  if (waiting_.empty() && running_ == 0) answered_.notify_all();
}

void ProjectActivityReader::askRepository(const std::string& repository) {
  const auto lastCommit = askGit(repository);
  const std::lock_guard lock(mutex_);
  Repository& asked = repositories_.at(repository);
  asked.isAsked = true;
  asked.lastCommit = lastCommit;
  for (Project& project : std::exchange(asked.waiting, {})) {
    enqueue(lock, [=, this, project = std::move(project)] { readProject(project, lastCommit); });
  }
}

std::optional<TimePoint> ProjectActivityReader::askGit(const std::string& repository) {
  if (hangs_ >= mostHangs) return TidraGitMetadataReader::latestCommitDate(repository);
  const auto asked = std::chrono::steady_clock::now();
  const auto date = reader_.lastCommitDate(repository);
  const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - asked;
  if (taken.count() >= TidraGitMetadataReader::commandTimeoutSeconds) ++hangs_;
  return date;
}

void ProjectActivityReader::readProject(const Project& project, std::optional<TimePoint> lastCommit) {
  const TimePoint now = project.sources->now();
  auto date = lastCommit ? credibleDate(*lastCommit, now) : std::nullopt;
  if (!date || !project.sources->isFresh(*date)) {
    date = std::max(date, project.sources->newest(project.folder, [this] { return cancelled_.load(); }));
  }
  if (!date) {
    const auto own = TidraGitMetadataReader::folderActivity(project.folder);
    if (own) date = credibleDate(*own, now);
  }
  const std::lock_guard lock(mutex_);
  if (date && !cancelled_) answers_.emplace(project.name, *date);
}

void ProjectActivityReader::readMore(const Project& project) {
  const auto date = project.sources->newestOfMany(project.folder, [this] { return cancelled_.load(); });
  const std::lock_guard lock(mutex_);
  if (!date || cancelled_) return;
  const auto [answer, isNew] = answers_.try_emplace(project.name, *date);
  if (!isNew) answer->second = std::max(answer->second, *date);
}

bool ProjectActivityReader::waitFor(std::chrono::milliseconds most) {
  std::unique_lock lock(mutex_);
  const auto until = std::chrono::steady_clock::now() + most;
  // If no thread could be started, the caller's answers.
  while (threads_.empty() && !waiting_.empty() && std::chrono::steady_clock::now() < until) runNext(lock);
  return answered_.wait_until(lock, until, [this] { return waiting_.empty() && running_ == 0; });
}

std::map<std::string, TimePoint> ProjectActivityReader::answers() {
  const std::lock_guard lock(mutex_);
  return answers_;
}

void ProjectActivityReader::date(std::vector<FoundArtifact>& findings) {
  const auto dates = answers();
  for (FoundArtifact& found : findings) {
    if (!found.isOfProject()) continue;
    const auto known = dates.find(*found.finding.groupRoot);
    if (known != dates.end()) found.finding.lastActivityDate = known->second;
  }
}

}  // namespace tidra
