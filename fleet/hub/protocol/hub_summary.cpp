#include "fleet/hub/protocol/hub_summary.h"

#include "core/base/record_fields.h"

namespace tidra {
template <>
constexpr auto fieldsOf<HubSummary::HostBytes> = recordFields(field("host", &HubSummary::HostBytes::host),
                                                              field("bytes", &HubSummary::HostBytes::bytes));

template <>
constexpr auto fieldsOf<HubSummary::HostDisk> = recordFields(
    field("host", &HubSummary::HostDisk::host), field("availableBytes", &HubSummary::HostDisk::availableBytes),
    field("totalBytes", &HubSummary::HostDisk::totalBytes), field("freeFraction", &HubSummary::HostDisk::freeFraction));

template <>
constexpr auto fieldsOf<HubSummary::RuleBytes> = recordFields(field("label", &HubSummary::RuleBytes::label),
                                                              field("tier", &HubSummary::RuleBytes::tier),
                                                              field("category", &HubSummary::RuleBytes::category),
                                                              field("bytes", &HubSummary::RuleBytes::bytes),
                                                              field("hosts", &HubSummary::RuleBytes::hosts));

template <>
constexpr auto fieldsOf<HubSummary::RecentRun> = recordFields(
    field("host", &HubSummary::RecentRun::host), field("startedAt", &HubSummary::RecentRun::startedAt),
    field("disposedBytes", &HubSummary::RecentRun::disposedBytes),
    field("disposedItems", &HubSummary::RecentRun::disposedItems), field("failures", &HubSummary::RecentRun::failures),
    field("succeeded", &HubSummary::RecentRun::succeeded), field("dryRun", &HubSummary::RecentRun::dryRun),
    field("reclaimableBytes", &HubSummary::RecentRun::reclaimableBytes),
    field("freedBytes", &HubSummary::RecentRun::freedBytes));

template <>
constexpr auto fieldsOf<HubSummary::DayPoint> =
    recordFields(field("day", &HubSummary::DayPoint::day), field("disposedBytes", &HubSummary::DayPoint::disposedBytes),
                 field("runs", &HubSummary::DayPoint::runs), field("failures", &HubSummary::DayPoint::failures),
                 fieldOrDefault("freedBytes", &HubSummary::DayPoint::freedBytes));

template <>
constexpr auto fieldsOf<HubSummary> = recordFields(
    field("generatedAt", &HubSummary::generatedAt), field("title", &HubSummary::title),
    field("hosts", &HubSummary::hosts), field("hostsByStatus", &HubSummary::hostsByStatus),
    field("hostsByPlatform", &HubSummary::hostsByPlatform), field("hostsByPolicy", &HubSummary::hostsByPolicy),
    field("hostsByVersion", &HubSummary::hostsByVersion), field("hostsDryRun", &HubSummary::hostsDryRun),
    field("reclaimableBytes", &HubSummary::reclaimableBytes), field("bytesByTier", &HubSummary::bytesByTier),
    field("bytesByCategory", &HubSummary::bytesByCategory), field("plannedBytes", &HubSummary::plannedBytes),
    field("disposedBytesTotal", &HubSummary::disposedBytesTotal),
    field("disposedItemsTotal", &HubSummary::disposedItemsTotal),
    fieldOrDefault("freedBytesTotal", &HubSummary::freedBytesTotal),
    fieldOrDefault("freedBytesLast24h", &HubSummary::freedBytesLast24h),
    fieldOrDefault("freedBytesLast7d", &HubSummary::freedBytesLast7d),
    fieldOrDefault("hostsWithoutFreed", &HubSummary::hostsWithoutFreed),
    field("disposedBytesLast24h", &HubSummary::disposedBytesLast24h),
    field("disposedBytesLast7d", &HubSummary::disposedBytesLast7d), field("runsTotal", &HubSummary::runsTotal),
    field("failuresTotal", &HubSummary::failuresTotal), field("failuresLast24h", &HubSummary::failuresLast24h),
    field("quarantineBytes", &HubSummary::quarantineBytes), field("volumeTotalBytes", &HubSummary::volumeTotalBytes),
    field("volumeAvailableBytes", &HubSummary::volumeAvailableBytes), field("hostsLowDisk", &HubSummary::hostsLowDisk),
    field("topReclaimable", &HubSummary::topReclaimable), field("topFreed", &HubSummary::topFreed),
    field("lowestDisk", &HubSummary::lowestDisk), field("topRules", &HubSummary::topRules),
    field("recentRuns", &HubSummary::recentRuns), field("trend", &HubSummary::trend),
    field("staleAfterSeconds", &HubSummary::staleAfterSeconds));

template struct RecordCodec<HubSummary::HostBytes>;
template struct RecordCodec<HubSummary::HostDisk>;
template struct RecordCodec<HubSummary::RuleBytes>;
template struct RecordCodec<HubSummary::RecentRun>;
template struct RecordCodec<HubSummary::DayPoint>;
template struct RecordCodec<HubSummary>;

}  // namespace tidra
