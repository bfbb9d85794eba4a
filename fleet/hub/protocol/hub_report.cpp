#include "fleet/hub/protocol/hub_report.h"

#include <chrono>

#include "core/base/json_fields.h"
#include "fleet/hub/protocol/record_fields.h"

namespace tidra {
/// Every field but the host, which alone must be there, and the largest findings, which are most of a report.
static void visitPlainFields(FieldsOf<HubHostReport> auto& report, auto&& visit) {
  visit("schemaVersion", report.schemaVersion);
  visit("platform", report.platform);
  visit("tidraVersion", report.tidraVersion);
  visit("catalogVersion", report.catalogVersion);
  visit("policyName", report.policyName);
  visit("tags", report.tags);
  visit("runID", report.runID);
  visit("startedAt", report.startedAt);
  visit("durationSeconds", report.durationSeconds);
  visit("dryRun", report.dryRun);
  visit("succeeded", report.succeeded);
  visit("intervalSeconds", report.intervalSeconds);
  visit("findings", report.findings);
  visit("reclaimableBytes", report.reclaimableBytes);
  visit("bytesByTier", report.bytesByTier);
  visit("bytesByCategory", report.bytesByCategory);
  visit("plannedItems", report.plannedItems);
  visit("plannedBytes", report.plannedBytes);
  visit("disposedItems", report.disposedItems);
  visit("disposedBytes", report.disposedBytes);
  visit("failures", report.failures);
  visit("purgedItems", report.purgedItems);
  visit("purgedBytes", report.purgedBytes);
  visit("skippedByReason", report.skippedByReason);
  visit("disposedBytesTotal", report.disposedBytesTotal);
  visit("disposedItemsTotal", report.disposedItemsTotal);
  visit("failuresTotal", report.failuresTotal);
  visit("runsTotal", report.runsTotal);
  visit("quarantineBytes", report.quarantineBytes);
  visit("quarantineItems", report.quarantineItems);
  visit("volumeTotalBytes", report.volumeTotalBytes);
  visit("volumeAvailableBytes", report.volumeAvailableBytes);
  visit("auditSeq", report.auditSeq);
  visit("auditHeadHash", report.auditHeadHash);
}

static void visitFields(FieldsOf<HubAck> auto& ack, auto&& visit) {
  visit("accepted", ack.accepted);
  visit("host", ack.host);
  visit("hostsKnown", ack.hostsKnown);
  visit("message", ack.message);
}

nlohmann::json JsonCodec<HubTopItem>::encode(const HubTopItem& item) {
  nlohmann::json object;
  putBytes(object, "path", item.path);
  const FieldWriter put(object);
  put("label", item.label);
  put("bytes", item.bytes);
  put("tier", item.tier);
  put("category", item.category);
  put("ruleID", item.ruleID);
  put("idleDays", item.idleDays);
  return object;
}

HubTopItem JsonCodec<HubTopItem>::decode(const nlohmann::json& value, const std::string& where) {
  const JsonObjectReader reader(value, where);
  HubTopItem item;
  item.path = reader.optionalBytes("path").value_or("");
  item.tier = reader.required<ArtifactSafetyTier>("tier");
  const TolerantFieldReader read(reader);
  read("label", item.label);
  read("bytes", item.bytes);
  read("category", item.category);
  read("ruleID", item.ruleID);
  read("idleDays", item.idleDays);
  return item;
}

nlohmann::json encodedWithoutTopItems(const HubHostReport& report) {
  nlohmann::json object;
  const FieldWriter put(object);
  put("host", report.host);
  visitPlainFields(report, put);
  return object;
}

nlohmann::json JsonCodec<HubHostReport>::encode(const HubHostReport& report) {
  nlohmann::json object = encodedWithoutTopItems(report);
  const FieldWriter put(object);
  put("topItems", report.topItems);
  return object;
}

HubHostReport JsonCodec<HubHostReport>::decode(const nlohmann::json& value, const std::string& where) {
  const JsonObjectReader reader(value, where);
  HubHostReport report;
  report.startedAt = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
  report.host = reader.required<std::string>("host");
  const TolerantFieldReader read(reader);
  visitPlainFields(report, read);
  read("topItems", report.topItems);
  return report;
}

template struct FieldCodec<HubAck>;

}  // namespace tidra
