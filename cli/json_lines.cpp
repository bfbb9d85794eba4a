#include "cli/json_lines.h"

#include <unistd.h>

#include <nlohmann/json.hpp>
#include <system_error>

#include "cli/interrupt.h"
#include "cli/scan_options.h"
#include "core/base/core_info.h"
#include "core/base/json_fields.h"
#include "core/base/quantities.h"
#include "core/base/text.h"
#include "core/platform/standard_streams.h"

namespace tidra {
namespace {

bool readerIsGone = false;

/// A text that may be any bytes, as in every document: what is not UTF-8 has its bytes beside it.
void putPath(nlohmann::json& event, const std::string& key, const std::string& path) {
  event[key] = replacingInvalidUtf8(path);
  if (!isValidUtf8(path)) event[key + "Bytes"] = base64Encoded(path);
}

}  // namespace

JsonLines::JsonLines(std::string command) : command_(std::move(command)) { ignoreBrokenPipes(); }

bool JsonLines::isBroken() { return readerIsGone; }

bool JsonLines::isDue() {
  constexpr std::chrono::milliseconds pause{500};
  const auto now = std::chrono::steady_clock::now();
  if (now - last_ < pause) return false;
  last_ = now;
  return true;
}

void JsonLines::write(nlohmann::json& event, const char* name) {
  if (readerIsGone) return;
  event["event"] = name;
  try {
    writeToDescriptor(STDOUT_FILENO, jsonText(event, false) + "\n");
  } catch (const std::system_error& error) {
    if (error.code() != std::errc::broken_pipe) throw;
    readerIsGone = true;
    InterruptGuard::request();
  }
}

void JsonLines::started(const ScanRequest& request, const std::optional<DisposalMethod>& method, bool dryRun) {
  nlohmann::json event{{"at", iso8601(request.now)},
                       {"command", command_},
                       {"host", replacingInvalidUtf8(request.host)},
                       {"tidraVersion", TidraCoreInfo::version}};
  auto roots = nlohmann::json::array();
  for (const std::string& root : request.roots) roots.push_back(replacingInvalidUtf8(root));
  event["roots"] = std::move(roots);
  if (method) event["method"] = rawValue(*method);
  if (dryRun) event["dryRun"] = true;
  write(event, "started");
}

void JsonLines::progress(const ScanProgress& progress) {
  if (!isDue()) return;
  nlohmann::json event{{"bytes", signedBytes(progress.recoverableBytes)},
                       {"entries", progress.entriesVisited},
                       {"findings", progress.artifactsFound}};
  putPath(event, "path", progress.currentPathDisplay);
  write(event, "progress");
}

void JsonLines::progress(const CleanupProgress& progress) {
  if (!isDue()) return;
  nlohmann::json event{{"bytes", progress.bytes},
                       {"bytesDone", progress.bytesDone},
                       {"entriesRemoved", progress.entriesRemoved},
                       {"items", progress.items},
                       {"itemsDone", progress.itemsDone}};
  putPath(event, "path", progress.currentPath);
  write(event, "progress");
}

void JsonLines::finding(const ScanReportItem& item) {
  nlohmann::json event = toJson(item);
  write(event, "finding");
}

void JsonLines::finding(const CleanupCandidate& candidate) {
  nlohmann::json event = toJson(candidate.item);
  event["freeableBytes"] = candidate.freeableBytes();
  write(event, "finding");
}

void JsonLines::result(const CleanupCandidate& candidate, const TidraDeletionService::Result& result) {
  if (const auto* failure = std::get_if<TidraDeletionFailure>(&result)) return failed(*failure);
  const auto& disposed = std::get<TidraDeletionService::Disposed>(result);
  removed(disposed.receipt, disposed.reclaimed.value_or(candidate.item.bytes),
          disposed.reclaimed.value_or(disposed.freed));
}

void JsonLines::removed(const DisposalReceipt& receipt, std::int64_t bytes, std::int64_t freedBytes,
                        const std::optional<std::string>& originalPath) {
  nlohmann::json event = toJson(receipt);
  if (!receipt.bytes) event["bytes"] = bytes;
  event["freedBytes"] = freedBytes;
  if (originalPath) putPath(event, "originalPath", *originalPath);
  write(event, "removed");
}

void JsonLines::failed(const TidraDeletionFailure& failure) {
  nlohmann::json event = toJson(failure);
  write(event, "failed");
}

void JsonLines::report(const ScanReport& report) {
  for (const ScanReportItem& item : report.items) {
    if (readerIsGone) return;
    finding(item);
  }
  nlohmann::json event{{"bytes", report.totalBytes},
                       {"command", command_},
                       {"findings", report.items.size()},
                       {"partial", report.partial}};
  if (report.freeableBytes) event["freeableBytes"] = *report.freeableBytes;
  write(event, "finished");
}

void JsonLines::finished(const CleanupOutcome& outcome, const Others& others) {
  const std::int64_t bytes = disposedBytes(outcome.disposal.receipts, outcome.unmeasured);
  nlohmann::json event{{"bytes", saturatedSum(bytes, others.bytes)},
                       {"command", command_},
                       {"failed", outcome.disposal.failures.size() + others.failed},
                       {"freedBytes", outcome.freedBytes},
                       {"partial", outcome.cancelled},
                       {"removed", outcome.disposal.receipts.size() + others.removed}};
  write(event, "finished");
}

std::shared_ptr<JsonLines> startJsonLines(std::string_view command, ScanRequest& request,
                                          const std::optional<DisposalMethod>& method, bool dryRun) {
  auto lines = std::make_shared<JsonLines>(std::string(command));
  lines->started(request, method, dryRun);
  request.onProgress = [lines](const ScanProgress& progress) { lines->progress(progress); };
  return lines;
}

}  // namespace tidra
