#include "app/view/review_job.h"

#include <exception>
#include <utility>

#include "core/session/removal_guard.h"

namespace tidra {

ReviewJob::ReviewJob(ScanRequest request, CleanupOrder order, bool emptiesTrash, std::function<void()> wake)
    : request_(std::move(request)), order_(std::move(order)), emptiesTrash_(emptiesTrash), mailbox_(std::move(wake)) {
  thread_ = JoiningThread([this] {
    auto result = std::make_shared<Result>();
    try {
      *result = look();
    } catch (const std::exception& error) {
      result->failure = error.what();
    }
    mailbox_.post([&](std::shared_ptr<const Result>& news) { news = std::move(result); });
  });
}

CleanupOptions ReviewJob::options() const {
  return {.takesUnproven = true, .shouldCancel = [this] { return isCancelled_.load(); }};
}

void ReviewJob::addCandidates(Result& result, const ChosenFindings& chosen) const {
  requireComplete(chosen);
  RemovalGuard guard(request_.resolver, request_.mounts);
  CleanupOptions options = this->options();
  options.isSelectable = [&](const FoundArtifact& found) { return chosen.paths.contains(found.finding.path); };
  result.scan = chosen.scan;
  result.candidates = selectForCleanup(*chosen.scan, guard, options);
}

void ReviewJob::addCandidates(Result& result, const CleanupPlan& plan) const {
  ScanRequest request = request_;
  request.shouldCancel = [this] { return isCancelled_.load(); };
  CheckedPlan checked = checkPlan(plan, std::move(request), options());
  result.scan = std::move(checked.scan);
  result.candidates = std::move(checked.candidates);
}

ReviewJob::Result ReviewJob::look() {
  Result result;
  std::visit([&](const auto& items) { addCandidates(result, items); }, order_);
  if (emptiesTrash_ && TrashEmptier::isReadable) {
    result.emptying.emplace(request_.resolver, request_.mounts, request_.now, false);
    result.inTrash = contentsOf(result.emptying->seen());
  }
  if (!TrashEmptier::isReadable) result.inTrash.entries.reset();
  const QuarantineDisposer quarantine(QuarantineConfig::makeDefault(request_.resolver), request_.resolver,
                                      request_.host, request_.mounts);
  result.methods = methodChoices(quarantine, request_.resolver);
  return result;
}

}  // namespace tidra
