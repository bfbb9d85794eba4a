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

static void visitRowFields(auto& record, auto&& visit) {
  visit("host", record.host);
  visit("status", record.status);
  visit("statusReasons", record.statusReasons);
  visit("firstSeen", record.firstSeen);
  visit("lastSeen", record.lastSeen);
  visit("reports", record.reports);
  visit("note", record.note);
  visit("latest", record.latest);
}

static void visitFields(FieldsOf<HubHostRow> auto& record, auto&& visit) { visitRowFields(record, visit); }

static void visitFields(FieldsOf<HubHostRecord> auto& record, auto&& visit) {
  visitRowFields(record, visit);
  visit("history", record.history);
}

static void visitFields(FieldsOf<HubHostsEnvelope> auto& record, auto&& visit) { visit("hosts", record.hosts); }

static void visitFields(FieldsOf<HubPoliciesEnvelope> auto& record, auto&& visit) {
  visit("policies", record.policies);
}

static void visitFields(FieldsOf<HubEventsEnvelope> auto& record, auto&& visit) { visit("events", record.events); }

template struct FieldCodec<HubEvent>;
template struct FieldCodec<HubHistoryPoint>;
template struct FieldCodec<HubHostFile>;
template struct FieldCodec<HubHostRow>;
template struct FieldCodec<HubHostRecord>;
template struct FieldCodec<HubHostsEnvelope>;
template struct FieldCodec<HubPoliciesEnvelope>;
template struct FieldCodec<HubEventsEnvelope>;

}  // namespace tidra
