#include "fleet/hub/hub_summary.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <utility>

#include "fleet/hub/host_status.h"
#include "fleet/hub/wide_sum.h"

namespace tidra {
namespace {

constexpr std::size_t topHosts = 10;
constexpr std::size_t mostRuns = 20;

template <class Row, class Before>
void keepFirst(std::vector<Row>& rows, std::size_t count, Before before) {
  const auto end = rows.begin() + static_cast<std::ptrdiff_t>(std::min(count, rows.size()));
  std::partial_sort(rows.begin(), end, rows.end(), before);
  rows.erase(end, rows.end());
}

void addCounts(HubSummary& summary, const HubSummaryInput& input) {
  for (const auto status : allCases<HubHostStatus>()) summary.hostsByStatus[std::string(rawValue(status))] = 0;
  for (const auto& file : input.hosts) {
    const HubHostReport& latest = file->latest;
    const auto status = conditionOf(*file, input.now, input.staleAfter).status;
    ++summary.hostsByStatus[std::string(rawValue(status))];
    ++summary.hostsByPlatform[std::string(rawValue(latest.platform))];
    ++summary.hostsByPolicy[latest.policyName];
    ++summary.hostsByVersion[latest.tidraVersion];
    if (latest.dryRun) ++summary.hostsDryRun;
    if (!latest.freedBytes) ++summary.hostsWithoutFreed;
    if (isLowOnDisk(latest)) ++summary.hostsLowDisk;
  }
}

/// Without its own figure, what the host removed.
std::int64_t freedTotal(const HubHostReport& latest) {
  return latest.freedBytesTotal.value_or(latest.disposedBytesTotal);
}

void addSums(HubSummary& summary, const HubInventory& hosts) {
  WideSum reclaimable, planned, disposedBytes, freedBytes, disposedItems, runs, failures, quarantine, total, available;
  for (const auto& file : hosts) {
    const HubHostReport& latest = file->latest;
    reclaimable += latest.reclaimableBytes;
    planned += latest.plannedBytes;
    disposedBytes += latest.disposedBytesTotal;
    freedBytes += freedTotal(latest);
    disposedItems += latest.disposedItemsTotal;
    runs += latest.runsTotal;
    failures += latest.failuresTotal;
    quarantine += latest.quarantineBytes;
    if (!latest.volumeTotalBytes || !latest.volumeAvailableBytes) continue;
    total += *latest.volumeTotalBytes;
    available += *latest.volumeAvailableBytes;
  }
  summary.reclaimableBytes = reclaimable.value();
  summary.plannedBytes = planned.value();
  summary.disposedBytesTotal = disposedBytes.value();
  summary.freedBytesTotal = freedBytes.value();
  summary.disposedItemsTotal = disposedItems.value();
  summary.runsTotal = runs.value();
  summary.failuresTotal = failures.value();
  summary.quarantineBytes = quarantine.value();
  summary.volumeTotalBytes = total.value();
  summary.volumeAvailableBytes = available.value();
}

/// Makes rows only for the hosts shown, to avoid copying all names.
template <class Row, class Figure, class Make>
std::vector<Row> rowsOf(std::vector<std::pair<Figure, const HubHostFile*>> hosts, std::size_t count, Make make) {
  // Ties are ordered by name.
  keepFirst(hosts, count, [](const auto& left, const auto& right) {
    return left.first != right.first ? left.first < right.first : left.second->host < right.second->host;
  });
  std::vector<Row> rows;
  rows.reserve(hosts.size());
  for (const auto& [figure, file] : hosts) rows.push_back(make(*file));
  return rows;
}

template <class Bytes>
std::vector<HubSummary::HostBytes> topBytes(const HubInventory& hosts, Bytes bytesOf) {
  std::vector<std::pair<std::int64_t, const HubHostFile*>> ranked;
  for (const auto& file : hosts) {
    if (const std::int64_t bytes = bytesOf(file->latest); bytes > 0) ranked.emplace_back(-bytes, file.get());
  }
  return rowsOf<HubSummary::HostBytes>(std::move(ranked), topHosts, [bytesOf](const HubHostFile& file) {
    return HubSummary::HostBytes{.host = file.host, .bytes = bytesOf(file.latest)};
  });
}

std::vector<HubSummary::HostDisk> lowestDisks(const HubInventory& hosts) {
  std::vector<std::pair<double, const HubHostFile*>> ranked;
  for (const auto& file : hosts) {
    if (const auto fraction = freeFractionOf(file->latest)) ranked.emplace_back(*fraction, file.get());
  }
  return rowsOf<HubSummary::HostDisk>(std::move(ranked), topHosts, [](const HubHostFile& file) {
    return HubSummary::HostDisk{.host = file.host,
                                .availableBytes = *file.latest.volumeAvailableBytes,
                                .totalBytes = *file.latest.volumeTotalBytes,
                                .freeFraction = *freeFractionOf(file.latest)};
  });
}

std::vector<HubSummary::RecentRun> recentRuns(const HubInventory& hosts) {
  std::vector<std::pair<std::int64_t, const HubHostFile*>> ranked;
  for (const auto& file : hosts) ranked.emplace_back(-file->latest.startedAt.time_since_epoch().count(), file.get());
  return rowsOf<HubSummary::RecentRun>(std::move(ranked), mostRuns, [](const HubHostFile& file) {
    const HubHostReport& run = file.latest;
    return HubSummary::RecentRun{.host = file.host,
                                 .startedAt = run.startedAt,
                                 .disposedBytes = run.disposedBytes,
                                 .disposedItems = run.disposedItems,
                                 .failures = run.failures,
                                 .succeeded = run.succeeded,
                                 .dryRun = run.dryRun,
                                 .reclaimableBytes = run.reclaimableBytes,
                                 .freedBytes = run.freedBytes};
  });
}

/// Rounds to seconds, saturating; NaN becomes 0.
std::int64_t wholeSeconds(double seconds) {
  constexpr double most = 9e18;
  return std::isnan(seconds) ? 0 : static_cast<std::int64_t>(std::clamp(seconds, -most, most));
}

}  // namespace

HubSummary summaryOf(HubSummaryInput input) {
  HubSummary summary;
  summary.generatedAt = input.now;
  summary.title = std::move(input.title);
  summary.hosts = static_cast<std::int64_t>(input.hosts.size());
  summary.staleAfterSeconds = wholeSeconds(input.staleAfter);
  addCounts(summary, input);
  addSums(summary, input.hosts);
  summary.disposedBytesLast24h = input.lastDay.disposedBytes.value();
  summary.disposedBytesLast7d = input.lastWeek.disposedBytes.value();
  summary.freedBytesLast24h = input.lastDay.freedBytes();
  summary.freedBytesLast7d = input.lastWeek.freedBytes();
  summary.failuresLast24h = input.lastDay.failures.value();
  summary.topReclaimable = topBytes(input.hosts, std::mem_fn(&HubHostReport::reclaimableBytes));
  summary.topFreed = topBytes(input.hosts, &freedTotal);
  summary.lowestDisk = lowestDisks(input.hosts);
  summary.recentRuns = recentRuns(input.hosts);
  summary.bytesByTier = std::move(input.bytesByTier);
  summary.bytesByCategory = std::move(input.bytesByCategory);
  summary.topRules = std::move(input.topRules);
  summary.trend = std::move(input.trend);
  return summary;
}

}  // namespace tidra
