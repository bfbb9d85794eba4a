#include "fleet/hub/protocol/hub_records.h"

#include "core/base/record_fields.h"

namespace tidra {
template <>
constexpr auto fieldsOf<HubEvent> = recordFields(field("time", &HubEvent::time), field("kind", &HubEvent::kind),
                                                 field("host", &HubEvent::host), field("message", &HubEvent::message),
                                                 field("bytes", &HubEvent::bytes));

static_assert(sizeof(HubHistoryPoint) <= 56, "hubs keep ten million points in memory");

template <>
constexpr auto fieldsOf<HubHistoryPoint> =
    recordFields(field("time", &HubHistoryPoint::time), field("reclaimableBytes", &HubHistoryPoint::reclaimableBytes),
                 field("disposedBytes", &HubHistoryPoint::disposedBytes), field("failures", &HubHistoryPoint::failures),
                 field("volumeAvailableBytes", &HubHistoryPoint::volumeAvailableBytes),
                 field("dryRun", &HubHistoryPoint::dryRun), field("freedBytes", &HubHistoryPoint::freedBytes));

template <>
constexpr auto fieldsOf<HubHostFile> =
    recordFields(field("host", &HubHostFile::host), field("firstSeen", &HubHostFile::firstSeen),
                 field("lastSeen", &HubHostFile::lastSeen), field("reports", &HubHostFile::reports),
                 field("latest", &HubHostFile::latest), field("history", &HubHostFile::history),
                 field("note", &HubHostFile::note), field("lastAuditRewind", &HubHostFile::lastAuditRewind));

template <>
constexpr auto fieldsOf<HubHostRow> =
    recordFields(field("host", &HubHostRow::host), field("status", &HubHostRow::status),
                 field("statusReasons", &HubHostRow::statusReasons), field("firstSeen", &HubHostRow::firstSeen),
                 field("lastSeen", &HubHostRow::lastSeen), field("reports", &HubHostRow::reports),
                 field("note", &HubHostRow::note), field("latest", &HubHostRow::latest));

template <>
constexpr auto fieldsOf<HubHostRecord> =
    recordFields(field("host", &HubHostRecord::host), field("status", &HubHostRecord::status),
                 field("statusReasons", &HubHostRecord::statusReasons), field("firstSeen", &HubHostRecord::firstSeen),
                 field("lastSeen", &HubHostRecord::lastSeen), field("reports", &HubHostRecord::reports),
                 field("note", &HubHostRecord::note), field("latest", &HubHostRecord::latest),
                 field("history", &HubHostRecord::history));

template <>
constexpr auto fieldsOf<HubHostsEnvelope> = recordFields(field("hosts", &HubHostsEnvelope::hosts));

template <>
constexpr auto fieldsOf<HubPoliciesEnvelope> = recordFields(field("policies", &HubPoliciesEnvelope::policies));

template <>
constexpr auto fieldsOf<HubEventsEnvelope> = recordFields(field("events", &HubEventsEnvelope::events));

template struct RecordCodec<HubEvent>;
template struct RecordCodec<HubHistoryPoint>;
template struct RecordCodec<HubHostFile>;
template struct RecordCodec<HubHostRow>;
template struct RecordCodec<HubHostRecord>;
template struct RecordCodec<HubHostsEnvelope>;
template struct RecordCodec<HubPoliciesEnvelope>;
template struct RecordCodec<HubEventsEnvelope>;

bool readCanonicalHistory(CanonicalReader& reader, std::vector<HubHistoryPoint>& history) {
  if (!reader.skip("[")) return false;
  while (!reader.skip("]")) {
    if (!history.empty() && !reader.skip(",")) return false;
    HubHistoryPoint& point = history.emplace_back();
    const auto assign = [&point]<class Index>(Index, const auto& value) {
      point.*fieldAt<HubHistoryPoint, Index::value>.member = value;
    };
    if (!readCanonical<HubHistoryPoint>(reader, assign)) return false;
  }
  return true;
}

}  // namespace tidra
