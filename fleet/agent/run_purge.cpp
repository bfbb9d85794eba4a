#include "fleet/agent/run_purge.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "core/base/quantities.h"

namespace tidra {
namespace {

class Purging {
 public:
  Purging(const RunPurge& setting, const QuarantineDisposer& quarantine, AuditLog& log, const RunRecorder& recorder)
      : setting_(setting), quarantine_(quarantine), log_(log), recorder_(recorder) {}

  RunPurge::Result run() {
    std::vector<QuarantineDisposer::Entry> expired;
    try {
      expired = findExpired();
    } catch (const std::exception& failure) {
      report(fmt::format("purge failed: {}", failure.what()), {quarantine_.config().directory, failure.what()});
      return std::move(result_);
    }
    for (const auto& entry : expired) {
      if (setting_.shouldCancel()) break;
      log_.reserve();
      purge(entry);
    }
    setting_.say(fmt::format("purged {} expired quarantine items", result_.outcome.receipts.size()));
    return std::move(result_);
  }

 private:
  /// Also clears what earlier removals left.
  std::vector<QuarantineDisposer::Entry> findExpired() {
    auto entries = quarantine_.list().entries;
    std::erase_if(entries, [&](const auto& entry) { return entry.manifest.quarantinedAt >= setting_.cutOff; });
    const auto cleared = quarantine_.clearRemains(setting_.cutOff, false, setting_.shouldCancel);
    for (const auto& failure : cleared.failures) fail(failure);
    for (const std::string& note : cleared.notes) setting_.warn(note);
    return entries;
  }

  void purge(const QuarantineDisposer::Entry& entry) {
    try {
      quarantine_.remove(entry);
    } catch (const std::exception& failure) {
      return fail({entry.url, failure.what()});
    }
    result_.outcome.receipts.push_back({.path = entry.url,
                                        .method = DisposalMethod::delete_,
                                        .destination = std::nullopt,
                                        .bytes = entry.manifest.bytes,
                                        .at = setting_.clock()});
    const std::int64_t freed = std::max<std::int64_t>(entry.freeable(), 0);
    result_.freedBytes = saturatedSum(result_.freedBytes, freed);
    recorder_.purged(result_.outcome.receipts.back(), freed);
  }

  void fail(const TidraDeletionFailure& failure) {
    report(fmt::format("purging {}: {}", failure.path, failure.message), failure);
  }

  void report(const std::string& message, const TidraDeletionFailure& failure) {
    setting_.say(message);
    recorder_.error(message);
    result_.outcome.failures.push_back(failure);
  }

  const RunPurge& setting_;
  const QuarantineDisposer& quarantine_;
  AuditLog& log_;
  const RunRecorder& recorder_;
  RunPurge::Result result_;
};

}  // namespace

RunPurge::Result RunPurge::run(const QuarantineDisposer& quarantine, AuditLog& log, const RunRecorder& recorder) const {
  return Purging(*this, quarantine, log, recorder).run();
}

}  // namespace tidra
