#include "fleet/hub/host_status.h"

#include <fmt/format.h>

#include <algorithm>

namespace tidra {
namespace {

double silenceAllowed(const HubHostReport& latest, double staleAfter) {
  constexpr double missedRuns = 2.5;
  constexpr double leastSeconds = 900;  // tolerates restarts of agents that report every minute
  if (!latest.intervalSeconds || *latest.intervalSeconds < 1) return staleAfter;
  return std::max(static_cast<double>(*latest.intervalSeconds) * missedRuns, leastSeconds);
}

std::string inWords(std::chrono::seconds silence) {
  using namespace std::chrono;
  if (silence < hours{1}) return fmt::format("{} min", floor<minutes>(silence).count());
  if (silence < days{1}) return fmt::format("{} h", floor<hours>(silence).count());
  return fmt::format("{} d", floor<days>(silence).count());
}

}  // namespace

std::optional<double> freeFractionOf(const HubHostReport& report) {
  if (!report.volumeTotalBytes || *report.volumeTotalBytes < 1 || !report.volumeAvailableBytes) return std::nullopt;
  const double fraction =
      static_cast<double>(*report.volumeAvailableBytes) / static_cast<double>(*report.volumeTotalBytes);
  return std::clamp(fraction, 0.0, 1.0);
}

bool isLowOnDisk(const HubHostReport& report) {
  constexpr double low = 0.1;
  const auto fraction = freeFractionOf(report);
  return fraction && *fraction < low;
}

HubHostCondition conditionOf(const HubHostFile& file, TimePoint now, double staleAfter) {
  const HubHostReport& latest = file.latest;
  const auto silence = now - file.lastSeen;
  if (static_cast<double>(silence.count()) > silenceAllowed(latest, staleAfter)) {
    return {HubHostStatus::stale, {"no report for " + inWords(silence)}};
  }
  std::vector<std::string> reasons;
  if (latest.failures >= 1) {
    const std::string_view plural = latest.failures == 1 ? "" : "s";
    reasons.push_back(fmt::format("{} disposal failure{} in last run", latest.failures, plural));
  } else if (latest.failures == 0 && !latest.succeeded) {
    reasons.emplace_back("last run did not succeed");
  }
  if (isLowOnDisk(latest)) {
    reasons.push_back(fmt::format("disk {}% free", static_cast<int>(*freeFractionOf(latest) * 100)));
  }
  if (file.lastAuditRewind) reasons.emplace_back("audit log went backwards");
  const auto status = reasons.empty() ? HubHostStatus::healthy : HubHostStatus::attention;
  return {status, std::move(reasons)};
}

}  // namespace tidra
