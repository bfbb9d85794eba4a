// The hub's stored records and views of hosts. Files: docs/hub.md.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "core/base/compact_optional.h"
#include "core/base/enum_table.h"
#include "core/base/json_codec.h"
#include "core/base/time_point.h"
#include "fleet/hub/protocol/hub_report.h"

namespace tidra {

class CanonicalReader;

enum class HubHostStatus { healthy, attention, stale };

template <>
struct EnumTable<HubHostStatus> {
  static constexpr std::string_view name = "host status";
  static constexpr std::array rows{
      EnumRow<HubHostStatus>{HubHostStatus::healthy, "healthy"},
      EnumRow<HubHostStatus>{HubHostStatus::attention, "attention"},
      EnumRow<HubHostStatus>{HubHostStatus::stale, "stale"},
  };
};

/// One line of the event log.
struct HubEvent {
  enum class Kind {
    reportReceived,
    reportRejected,
    hostRemoved,
    policyUpdated,
    policyRemoved,
    noteUpdated,
    hubStarted
  };

  TimePoint time{};
  Kind kind = Kind::reportReceived;
  std::optional<std::string> host;  // absent: concerns no host
  std::string message;              // for people
  std::optional<std::int64_t> bytes;

  bool operator==(const HubEvent&) const = default;
};

template <>
struct EnumTable<HubEvent::Kind> {
  static constexpr std::string_view name = "kind of event";
  static constexpr std::array rows{
      EnumRow<HubEvent::Kind>{HubEvent::Kind::reportReceived, "reportReceived"},
      EnumRow<HubEvent::Kind>{HubEvent::Kind::reportRejected, "reportRejected"},
      EnumRow<HubEvent::Kind>{HubEvent::Kind::hostRemoved, "hostRemoved"},
      EnumRow<HubEvent::Kind>{HubEvent::Kind::policyUpdated, "policyUpdated"},
      EnumRow<HubEvent::Kind>{HubEvent::Kind::policyRemoved, "policyRemoved"},
      EnumRow<HubEvent::Kind>{HubEvent::Kind::noteUpdated, "noteUpdated"},
      EnumRow<HubEvent::Kind>{HubEvent::Kind::hubStarted, "hubStarted"},
  };
};

/// The part of each accepted report that is kept.
struct HubHistoryPoint {
  TimePoint time{};  // of arrival
  std::int64_t reclaimableBytes = 0;
  std::int64_t disposedBytes = 0;
  std::int64_t failures = 0;
  CompactOptional volumeAvailableBytes;
  bool dryRun = false;
  CompactOptional freedBytes = {};  // absent: as disposedBytes, or not reported

  bool operator==(const HubHistoryPoint&) const = default;
};

/// The stored form of one host.
struct HubHostFile {
  static constexpr std::size_t mostHistory = 1000;

  std::string host;
  TimePoint firstSeen{};     // arrival of the first accepted report
  TimePoint lastSeen{};      // arrival of the latest one
  std::int64_t reports = 0;  // accepted
  HubHostReport latest;
  std::vector<HubHistoryPoint> history;  // oldest first
  std::optional<std::string> note;       // an administrator's
  /// When the host's audit log was last found truncated or rewritten; absent: never, or acknowledged by a note since.
  std::optional<TimePoint> lastAuditRewind;

  bool operator==(const HubHostFile&) const = default;
};

/// A host as administrators see it, without its history.
struct HubHostRow {
  std::string host;
  HubHostStatus status = HubHostStatus::healthy;
  std::vector<std::string> statusReasons;  // sentences for people; empty for a healthy host
  TimePoint firstSeen{};
  TimePoint lastSeen{};
  std::int64_t reports = 0;
  std::optional<std::string> note;
  HubHostReport latest;

  bool operator==(const HubHostRow&) const = default;
};

/// The same with the history. Computed, never stored.
struct HubHostRecord : HubHostRow {
  std::vector<HubHistoryPoint> history;  // oldest first

  bool operator==(const HubHostRecord&) const = default;
};

// Listings: objects with one key each.

struct HubHostsEnvelope {
  std::vector<HubHostRow> hosts;
  bool operator==(const HubHostsEnvelope&) const = default;
};

struct HubPoliciesEnvelope {
  std::vector<std::string> policies;  // names
  bool operator==(const HubPoliciesEnvelope&) const = default;
};

struct HubEventsEnvelope {
  std::vector<HubEvent> events;  // oldest first
  bool operator==(const HubEventsEnvelope&) const = default;
};

/// Appends the points of an array that is byte for byte as the codec writes it; returns false at anything else.
[[nodiscard]] bool readCanonicalHistory(CanonicalReader& reader, std::vector<HubHistoryPoint>& history);

extern template struct RecordCodec<HubEvent>;
template <>
struct JsonCodec<HubEvent> : RecordCodec<HubEvent> {};
extern template struct RecordCodec<HubHistoryPoint>;
template <>
struct JsonCodec<HubHistoryPoint> : RecordCodec<HubHistoryPoint> {};
extern template struct RecordCodec<HubHostFile>;
template <>
struct JsonCodec<HubHostFile> : RecordCodec<HubHostFile> {};
extern template struct RecordCodec<HubHostRow>;
template <>
struct JsonCodec<HubHostRow> : RecordCodec<HubHostRow> {};
extern template struct RecordCodec<HubHostRecord>;
template <>
struct JsonCodec<HubHostRecord> : RecordCodec<HubHostRecord> {};
extern template struct RecordCodec<HubHostsEnvelope>;
template <>
struct JsonCodec<HubHostsEnvelope> : RecordCodec<HubHostsEnvelope> {};
extern template struct RecordCodec<HubPoliciesEnvelope>;
template <>
struct JsonCodec<HubPoliciesEnvelope> : RecordCodec<HubPoliciesEnvelope> {};
extern template struct RecordCodec<HubEventsEnvelope>;
template <>
struct JsonCodec<HubEventsEnvelope> : RecordCodec<HubEventsEnvelope> {};

}  // namespace tidra
