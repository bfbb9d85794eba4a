#include "fleet/hub/protocol/hub_summary.h"

#include "core/base/json_fields.h"
#include "fleet/hub/protocol/record_fields.h"

namespace tidra {
static void visitFields(FieldsOf<HubSummary::HostBytes> auto& row, auto&& visit) {
  visit("host", row.host);
  visit("bytes", row.bytes);
}

static void visitFields(FieldsOf<HubSummary::HostDisk> auto& row, auto&& visit) {
  visit("host", row.host);
  visit("availableBytes", row.availableBytes);
  visit("totalBytes", row.totalBytes);
  visit("freeFraction", row.freeFraction);
}

static void visitFields(FieldsOf<HubSummary::RuleBytes> auto& row, auto&& visit) {
  visit("label", row.label);
  visit("tier", row.tier);
  visit("category", row.category);
  visit("bytes", row.bytes);
  visit("hosts", row.hosts);
}

static void visitFields(FieldsOf<HubSummary::RecentRun> auto& row, auto&& visit) {
  visit("host", row.host);
  visit("startedAt", row.startedAt);
  visit("disposedBytes", row.disposedBytes);
  visit("disposedItems", row.disposedItems);
  visit("failures", row.failures);
  visit("succeeded", row.succeeded);
  visit("dryRun", row.dryRun);
  visit("reclaimableBytes", row.reclaimableBytes);
}

static void visitFields(FieldsOf<HubSummary::DayPoint> auto& row, auto&& visit) {
  visit("day", row.day);
  visit("disposedBytes", row.disposedBytes);
  visit("runs", row.runs);
  visit("failures", row.failures);
}

static void visitFields(FieldsOf<HubSummary> auto& summary, auto&& visit) {
  visit("generatedAt", summary.generatedAt);
  visit("title", summary.title);
  visit("hosts", summary.hosts);
  visit("hostsByStatus", summary.hostsByStatus);
  visit("hostsByPlatform", summary.hostsByPlatform);
  visit("hostsByPolicy", summary.hostsByPolicy);
  visit("hostsByVersion", summary.hostsByVersion);
  visit("hostsDryRun", summary.hostsDryRun);
  visit("reclaimableBytes", summary.reclaimableBytes);
  visit("bytesByTier", summary.bytesByTier);
  visit("bytesByCategory", summary.bytesByCategory);
  visit("plannedBytes", summary.plannedBytes);
  visit("disposedBytesTotal", summary.disposedBytesTotal);
  visit("disposedItemsTotal", summary.disposedItemsTotal);
  visit("disposedBytesLast24h", summary.disposedBytesLast24h);
  visit("disposedBytesLast7d", summary.disposedBytesLast7d);
  visit("runsTotal", summary.runsTotal);
  visit("failuresTotal", summary.failuresTotal);
  visit("failuresLast24h", summary.failuresLast24h);
  visit("quarantineBytes", summary.quarantineBytes);
  visit("volumeTotalBytes", summary.volumeTotalBytes);
  visit("volumeAvailableBytes", summary.volumeAvailableBytes);
  visit("hostsLowDisk", summary.hostsLowDisk);
  visit("topReclaimable", summary.topReclaimable);
  visit("topFreed", summary.topFreed);
  visit("lowestDisk", summary.lowestDisk);
  visit("topRules", summary.topRules);
  visit("recentRuns", summary.recentRuns);
  visit("trend", summary.trend);
  visit("staleAfterSeconds", summary.staleAfterSeconds);
}

template struct FieldCodec<HubSummary::HostBytes>;
template struct FieldCodec<HubSummary::HostDisk>;
template struct FieldCodec<HubSummary::RuleBytes>;
template struct FieldCodec<HubSummary::RecentRun>;
template struct FieldCodec<HubSummary::DayPoint>;
template struct FieldCodec<HubSummary>;

}  // namespace tidra
