#include "fleet/hub/protocol/hub_records.h"

#include "core/base/json_fields.h"
#include "fleet/hub/protocol/record_fields.h"

namespace tidra {
static void visitFields(FieldsOf<HubEvent> auto& record, auto&& visit) {
  visit("time", record.time);
  visit("kind", record.kind);
  visit("host", record.host);
  visit("message", record.message);
  visit("bytes", record.bytes);
}

static void visitFields(FieldsOf<HubHistoryPoint> auto& record, auto&& visit) {
  visit("time", record.time);
  visit("reclaimableBytes", record.reclaimableBytes);
  visit("disposedBytes", record.disposedBytes);
  visit("failures", record.failures);
  visit("volumeAvailableBytes", record.volumeAvailableBytes);
  visit("dryRun", record.dryRun);
}

static void visitFields(FieldsOf<HubHostFile> auto& record, auto&& visit) {
  visit("host", record.host);
  visit("firstSeen", record.firstSeen);
  visit("lastSeen", record.lastSeen);
  visit("reports", record.reports);
  visit("latest", record.latest);
  visit("history", record.history);
  visit("note", record.note);
  visit("lastAuditRewind", record.lastAuditRewind);
}

static void visitFields(FieldsOf<HubHostRow> auto& record, auto&& visit) {
  visit("host", record.host);
  visit("status", record.status);
  visit("statusReasons", record.statusReasons);
  visit("firstSeen", record.firstSeen);
  visit("lastSeen", record.lastSeen);
  visit("reports", record.reports);
  visit("note", record.note);
  visit("latest", record.latest);
}

static void visitFields(FieldsOf<HubHostRecord> auto& record, auto&& visit) {
  visit("host", record.host);
  visit("status", record.status);
  visit("statusReasons", record.statusReasons);
  visit("firstSeen", record.firstSeen);
  visit("lastSeen", record.lastSeen);
  visit("reports", record.reports);
  visit("note", record.note);
  visit("latest", record.latest);
  visit("history", record.history);
}

static void visitFields(FieldsOf<HubHostsEnvelope> auto& record, auto&& visit) { visit("hosts", record.hosts); }

static void visitFields(FieldsOf<HubPoliciesEnvelope> auto& record, auto&& visit) {
  visit("policies", record.policies);
}

static void visitFields(FieldsOf<HubEventsEnvelope> auto& record, auto&& visit) { visit("events", record.events); }

nlohmann::json JsonCodec<HubEvent>::encode(const HubEvent& record) { return encodeFields(record); }

HubEvent JsonCodec<HubEvent>::decode(const nlohmann::json& value, const std::string& where) {
  return decodeFields<HubEvent>(value, where);
}

nlohmann::json JsonCodec<HubHistoryPoint>::encode(const HubHistoryPoint& record) { return encodeFields(record); }

HubHistoryPoint JsonCodec<HubHistoryPoint>::decode(const nlohmann::json& value, const std::string& where) {
  return decodeFields<HubHistoryPoint>(value, where);
}

nlohmann::json JsonCodec<HubHostFile>::encode(const HubHostFile& record) { return encodeFields(record); }

HubHostFile JsonCodec<HubHostFile>::decode(const nlohmann::json& value, const std::string& where) {
  return decodeFields<HubHostFile>(value, where);
}

nlohmann::json JsonCodec<HubHostRow>::encode(const HubHostRow& record) { return encodeFields(record); }

HubHostRow JsonCodec<HubHostRow>::decode(const nlohmann::json& value, const std::string& where) {
  return decodeFields<HubHostRow>(value, where);
}

nlohmann::json JsonCodec<HubHostRecord>::encode(const HubHostRecord& record) { return encodeFields(record); }

HubHostRecord JsonCodec<HubHostRecord>::decode(const nlohmann::json& value, const std::string& where) {
  return decodeFields<HubHostRecord>(value, where);
}

nlohmann::json JsonCodec<HubHostsEnvelope>::encode(const HubHostsEnvelope& record) { return encodeFields(record); }

HubHostsEnvelope JsonCodec<HubHostsEnvelope>::decode(const nlohmann::json& value, const std::string& where) {
  return decodeFields<HubHostsEnvelope>(value, where);
}

nlohmann::json JsonCodec<HubPoliciesEnvelope>::encode(const HubPoliciesEnvelope& record) {
  return encodeFields(record);
}

HubPoliciesEnvelope JsonCodec<HubPoliciesEnvelope>::decode(const nlohmann::json& value, const std::string& where) {
  return decodeFields<HubPoliciesEnvelope>(value, where);
}

nlohmann::json JsonCodec<HubEventsEnvelope>::encode(const HubEventsEnvelope& record) { return encodeFields(record); }

HubEventsEnvelope JsonCodec<HubEventsEnvelope>::decode(const nlohmann::json& value, const std::string& where) {
  return decodeFields<HubEventsEnvelope>(value, where);
}

}  // namespace tidra
