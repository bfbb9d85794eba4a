// The thread takes one order after the other: its candidates, the volumes they are on, the removal. Then it empties the
// trash, if wanted, and writes the run into the history, after failures as well.
#include "app/view/cleanup_job.h"

#include <fmt/format.h>

#include <algorithm>
#include <exception>
#include <iterator>
#include <utility>

#include "app/state/user_cleanup.h"
#include "core/base/errors.h"
#include "core/base/quantities.h"
#include "core/base/text.h"
#include "core/model/stable_id.h"

namespace tidra {
namespace {

template <class T>
void append(std::vector<T>& all, std::vector<T> more) {
  all.insert(all.end(), std::make_move_iterator(more.begin()), std::make_move_iterator(more.end()));
}

void append(CleanupOutcome& all, CleanupOutcome more) {
  append(all.disposal.receipts, std::move(more.disposal.receipts));
  append(all.disposal.failures, std::move(more.disposal.failures));
  append(all.unmeasured, std::move(more.unmeasured));
  append(all.remainders, std::move(more.remainders));
  for (std::string& note : more.notes) {
    if (std::find(all.notes.begin(), all.notes.end(), note) == all.notes.end()) all.notes.push_back(std::move(note));
  }
  append(all.freedEach, std::move(more.freedEach));
  append(all.partial, std::move(more.partial));
  all.freedBytes = saturatedSum(all.freedBytes, more.freedBytes);
  all.cancelled = all.cancelled || more.cancelled;
}

std::size_t countOf(const CleanupOrder& order) {
  const auto* chosen = std::get_if<ChosenFindings>(&order);
  return chosen != nullptr ? chosen->paths.size() : std::get<CleanupPlan>(order).items.size();
}

}  // namespace

CleanupJob::CleanupJob(Setting setting, CleanupOrder order, std::function<void()> wake)
    : setting_(std::move(setting)),
      mailbox_(std::move(wake)),
      recorder_(RemovalCommand::clean, setting_.method, setting_.request.resolver, setting_.clock()),
      begin_(Clock::now()) {
  result_.method = setting_.method;
  orders_.push_back(std::move(order));
  thread_ = JoiningThread([this] { run(); });
}

bool CleanupJob::add(CleanupOrder order) {
  const std::lock_guard lock(mutex_);
  if (isClosed_ || isCancelled_) return false;
  orders_.push_back(std::move(order));
  return true;
}

std::optional<CleanupOrder> CleanupJob::next() {
  const std::lock_guard lock(mutex_);
  isClosed_ = orders_.empty() || isCancelled_;
  if (isClosed_) return std::nullopt;
  std::optional<CleanupOrder> order(std::move(orders_.front()));
  orders_.pop_front();
  return order;
}

void CleanupJob::run() {
  try {
    requireAllowed();
    removeAll();
  } catch (const std::exception& error) {
    result_.failure = error.what();
  }
  finish();
}

void CleanupJob::removeAll() {
  while (auto order = next()) {
    auto candidates = std::visit([this](auto& items) { return candidatesOf(std::move(items)); }, *order);
    // An interrupted selection is not one.
    if (isCancelled_) break;
    append(result_.candidates, candidates);
    remove(candidates);
  }
  result_.outcome.cancelled = result_.outcome.cancelled || isCancelled_;
  emptyTrash();
}

void CleanupJob::requireAllowed() const {
  const TidraPathResolver& resolver = setting_.request.resolver;
  requireKnownExclusions(resolver);
  if (movesToHomeOfAnother(setting_.method, QuarantineConfig::makeDefault(resolver), resolver)) {
    throw InputError(
        fmt::format("The home folder {} belongs to another user, who could not get back what root moves there; run "
                    "tidra as that user, or delete at once.",
                    escapedForTerminal(resolver.home)));
  }
}

CleanupOptions CleanupJob::options() const {
  return {.force = setting_.force, .takesUnproven = true, .shouldCancel = [this] { return isCancelled(); }};
}

void requireComplete(const ChosenFindings& chosen) {
  if (!chosen.scan->circumstances.partial) return;
  throw InputError("The scan was interrupted before all checks; scan again to remove what it found.");
}

std::vector<CleanupCandidate> CleanupJob::candidatesOf(ChosenFindings chosen) {
  requireComplete(chosen);
  RemovalGuard guard(setting_.request.resolver, setting_.request.mounts);
  CleanupOptions options = this->options();
  options.isSelectable = [&](const FoundArtifact& found) { return chosen.paths.contains(found.finding.path); };
  auto candidates = selectForCleanup(*chosen.scan, guard, options);
  result_.scans.push_back(std::move(chosen.scan));
  return candidates;
}

std::vector<CleanupCandidate> CleanupJob::candidatesOf(const CleanupPlan& plan) {
  ScanRequest request = setting_.request;
  request.shouldCancel = [this] { return isCancelled(); };
  CheckedPlan checked = checkPlan(plan, std::move(request), options());
  append(result_.notes, checked.scan->notes);
  result_.scans.emplace_back(std::move(checked.scan));
  return std::move(checked.candidates);
}

CleanupSetting CleanupJob::listened() {
  CleanupSetting setting = cleanupSettingFor(setting_.request, setting_.method,
                                             QuarantineConfig::makeDefault(setting_.request.resolver), setting_.clock);
  setting.service.shouldCancel = [this] { return isCancelled(); };
  setting.service.includesUndated = setting_.includesUndated;
  setting.options.force = setting_.force;
  setting.refusalText = [this](const Refusal& refusal) {
    refusal_ = refusal;
    return refusal.text;
  };
  setting.onProgress = [this](const CleanupProgress& progress) { publish(progress); };
  setting.onResult = [this](const auto& candidate, const auto& result, std::int64_t counted) {
    publish(candidate, result, counted);
  };
  return recorder_.watching(std::move(setting));
}

void CleanupJob::remove(const std::vector<CleanupCandidate>& candidates) {
  volumes_.add(candidates, setting_.request.mounts);
  const auto trashes = wholeTrashesAmong(candidates, setting_.clock(), setting_.request.now, setting_.includesUndated);
  CleanupOutcome outcome = runCleanup(candidates, listened());
  for (const PartialRemoval& partial : outcome.partial) recorder_.addPartial(partial);
  append(result_.outcome, std::move(outcome));
  HistoryRecorder ofTrash(RemovalCommand::emptyTrash, DisposalMethod::delete_, setting_.request.resolver,
                          setting_.clock());
  recordEmptiedTrashes(trashes, ofTrash);
  ofTrash.write();
  append(result_.notes, {ofTrash.notes().begin(), ofTrash.notes().end()});
}

void CleanupJob::emptyTrash() {
  const auto& receipts = result_.outcome.disposal.receipts;
  const bool isUsed = std::any_of(receipts.begin(), receipts.end(), [](const DisposalReceipt& receipt) {
    return receipt.method == DisposalMethod::trash && receipt.destination;
  });
  if (!setting_.emptying || !isUsed || result_.outcome.cancelled) return;
  HistoryRecorder ofOthers(RemovalCommand::emptyTrash, DisposalMethod::delete_, setting_.request.resolver,
                           setting_.clock());
  result_.emptied = setting_.emptying->run(result_.outcome, recorder_, ofOthers, setting_.clock(),
                                           setting_.includesUndated, [this] { return isCancelled(); });
  append(result_.notes, {ofOthers.notes().begin(), ofOthers.notes().end()});
}

void CleanupJob::finish() {
  {
    const std::lock_guard lock(mutex_);
    isClosed_ = true;
  }
  recorder_.write();
  append(result_.notes, {recorder_.notes().begin(), recorder_.notes().end()});
  result_.isInHistory = recorder_.isKept();
  result_.volumes = volumes_.changes();
  result_.isUpperBound = volumes_.isUpperBound();
  auto result = std::make_shared<const CleanupResult>(std::move(result_));
  mailbox_.post([&](News& news) { news.result = std::move(result); });
}

void CleanupJob::publish(const CleanupProgress& progress) {
  CleanupProgress all = progress;
  all.itemsDone += before_.itemsDone;
  all.items += before_.items;
  all.bytesDone = saturatedSum(all.bytesDone, before_.bytesDone);
  all.bytes = saturatedSum(all.bytes, before_.bytes);
  all.entriesRemoved += before_.entriesRemoved;
  all.isEstimate = all.isEstimate || before_.isEstimate;
  // The end of an order.
  if (progress.currentPath.empty()) before_ = all;
  {
    const std::lock_guard lock(mutex_);
    for (const CleanupOrder& order : orders_) all.items += countOf(order);
  }
  const RemovalPace pace = paceOf(all, Clock::now() - begin_);
  mailbox_.post([&](News& news) { news.progress = CleanupJobProgress{std::move(all), pace}; });
}

void CleanupJob::publish(const CleanupCandidate& candidate, const TidraDeletionService::Result& result,
                         std::int64_t counted) {
  CleanedItem item;
  item.path = candidate.item.path;
  item.id = StableID::number(item.path);
  if (const auto* disposed = std::get_if<TidraDeletionService::Disposed>(&result)) {
    item.freedBytes = freedBytesOf(candidate, *disposed, counted);
    item.destination = disposed->receipt.destination;
    item.remainder = disposed->remainder;
  } else {
    item.failure = std::get<TidraDeletionFailure>(result).message;
    item.refusal = std::exchange(refusal_, std::nullopt);
  }
  mailbox_.post([&](News& news) { news.items.push_back(std::move(item)); });
}

}  // namespace tidra
