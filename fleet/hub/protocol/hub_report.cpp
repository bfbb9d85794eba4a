#include "fleet/hub/protocol/hub_report.h"

#include <chrono>

#include "core/base/record_fields.h"

namespace tidra {
template <>
constexpr auto fieldsOf<HubAck> = recordFields(field("accepted", &HubAck::accepted), field("host", &HubAck::host),
                                               field("hostsKnown", &HubAck::hostsKnown),
                                               field("message", &HubAck::message));

template <>
constexpr auto fieldsOf<HubTopItem> = recordFields(bytesFieldOrDefault("path", &HubTopItem::path),
                                                   fieldOrDefault("label", &HubTopItem::label),
                                                   fieldOrDefault("bytes", &HubTopItem::bytes),
                                                   field("tier", &HubTopItem::tier),
                                                   fieldOrDefault("category", &HubTopItem::category),
                                                   field("ruleID", &HubTopItem::ruleID),
                                                   field("idleDays", &HubTopItem::idleDays));

template <>
constexpr auto fieldsOf<HubHostReport> = recordFields(
    field("host", &HubHostReport::host), fieldOrDefault("schemaVersion", &HubHostReport::schemaVersion),
    fieldOrDefault("platform", &HubHostReport::platform), fieldOrDefault("tidraVersion", &HubHostReport::tidraVersion),
    fieldOrDefault("catalogVersion", &HubHostReport::catalogVersion),
    fieldOrDefault("policyName", &HubHostReport::policyName), fieldOrDefault("tags", &HubHostReport::tags),
    fieldOrDefault("runID", &HubHostReport::runID), fieldOrDefault("startedAt", &HubHostReport::startedAt),
    fieldOrDefault("durationSeconds", &HubHostReport::durationSeconds),
    fieldOrDefault("dryRun", &HubHostReport::dryRun), fieldOrDefault("succeeded", &HubHostReport::succeeded),
    field("intervalSeconds", &HubHostReport::intervalSeconds), fieldOrDefault("findings", &HubHostReport::findings),
    fieldOrDefault("reclaimableBytes", &HubHostReport::reclaimableBytes),
    fieldOrDefault("bytesByTier", &HubHostReport::bytesByTier),
    fieldOrDefault("bytesByCategory", &HubHostReport::bytesByCategory),
    fieldOrDefault("plannedItems", &HubHostReport::plannedItems),
    fieldOrDefault("plannedBytes", &HubHostReport::plannedBytes),
    fieldOrDefault("disposedItems", &HubHostReport::disposedItems),
    fieldOrDefault("disposedBytes", &HubHostReport::disposedBytes), field("freedBytes", &HubHostReport::freedBytes),
    field("freedBytesTotal", &HubHostReport::freedBytesTotal), fieldOrDefault("failures", &HubHostReport::failures),
    fieldOrDefault("purgedItems", &HubHostReport::purgedItems),
    fieldOrDefault("purgedBytes", &HubHostReport::purgedBytes),
    fieldOrDefault("skippedByReason", &HubHostReport::skippedByReason),
    fieldOrDefault("disposedBytesTotal", &HubHostReport::disposedBytesTotal),
    fieldOrDefault("disposedItemsTotal", &HubHostReport::disposedItemsTotal),
    fieldOrDefault("failuresTotal", &HubHostReport::failuresTotal),
    fieldOrDefault("runsTotal", &HubHostReport::runsTotal),
    fieldOrDefault("quarantineBytes", &HubHostReport::quarantineBytes),
    fieldOrDefault("quarantineItems", &HubHostReport::quarantineItems),
    field("volumeTotalBytes", &HubHostReport::volumeTotalBytes),
    field("volumeAvailableBytes", &HubHostReport::volumeAvailableBytes),
    fieldOrDefault("auditSeq", &HubHostReport::auditSeq), field("auditHeadHash", &HubHostReport::auditHeadHash),
    fieldOrDefault("topItems", &HubHostReport::topItems));

template struct RecordCodec<HubAck>;
template struct RecordCodec<HubTopItem>;
template struct RecordCodec<HubHostReport>;

HubHostReport JsonCodec<HubHostReport>::decode(const nlohmann::json& value, const std::string& where) {
  HubHostReport report;
  report.startedAt = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
  return RecordCodec::decode(value, where, std::move(report));
}

void JsonCodec<ReportWithoutTopItems>::write(JsonWriter& out, const ReportWithoutTopItems& brief) {
  writeWithout<fieldIndex<HubHostReport>("topItems")>(out, brief.report);
}

}  // namespace tidra
