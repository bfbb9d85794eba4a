// A record of the audit log: one act of an unattended run, chained by a hash to the record before.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "core/base/enum_table.h"
#include "core/base/time_point.h"
#include "core/model/disposal.h"
#include "core/model/scan_vocabulary.h"

namespace tidra {

/// docs/audit.md lists the fields of each event.
struct AuditRecord {
  enum class Event {
    runStarted,
    scanCompleted,
    planned,
    disposed,
    disposeFailed,
    skipped,
    purged,
    runFinished,
    error,
    hubReported
  };

  std::int64_t seq = 0;  // position in the log, from 1
  TimePoint time{};
  std::string host;
  std::string runID;
  Event event = Event::error;
  std::string actor;  // who started the run
  std::optional<std::string> policy;
  std::optional<std::string> path;          // any bytes
  std::optional<std::uint64_t> bytes;       // of the item, or a total
  std::optional<std::uint64_t> freedBytes;  // that the volumes gained; absent in records of earlier versions
  std::optional<ArtifactSafetyTier> tier;
  std::optional<std::string> category;
  std::optional<std::string> ruleID;
  std::optional<DisposalMethod> method;
  std::optional<std::string> destination;  // any bytes
  std::optional<std::string> reason;
  std::optional<std::string> message;
  std::optional<bool> dryRun;
  std::string prevHash;             // the previous record's hash; auditGenesis in the first
  std::optional<std::string> hash;  // absent only before the record is sealed

  bool operator==(const AuditRecord&) const = default;
};

template <>
struct EnumTable<AuditRecord::Event> {
  using enum AuditRecord::Event;
  static constexpr std::string_view name = "event";
  static constexpr std::array rows{
      EnumRow<AuditRecord::Event>{runStarted, "runStarted"},
      EnumRow<AuditRecord::Event>{scanCompleted, "scanCompleted"},
      EnumRow<AuditRecord::Event>{planned, "planned"},
      EnumRow<AuditRecord::Event>{disposed, "disposed"},
      EnumRow<AuditRecord::Event>{disposeFailed, "disposeFailed"},
      EnumRow<AuditRecord::Event>{skipped, "skipped"},
      EnumRow<AuditRecord::Event>{purged, "purged"},
      EnumRow<AuditRecord::Event>{runFinished, "runFinished"},
      EnumRow<AuditRecord::Event>{error, "error"},
      EnumRow<AuditRecord::Event>{hubReported, "hubReported"},
  };
};

/// What of a record counts towards totals.
struct AuditedAct {
  AuditRecord::Event event = AuditRecord::Event::error;
  std::optional<std::uint64_t> bytes;
  std::optional<std::uint64_t> freedBytes;
  std::optional<DisposalMethod> method;
  bool dryRun = false;

  static AuditedAct of(const AuditRecord& record);

  /// What a disposed or purged item freed. A record without it counts with its size, unless the item only moved.
  std::uint64_t freed() const;
};

/// The `prevHash` of the first record: 64 zeros.
inline constexpr std::string_view auditGenesis = "0000000000000000000000000000000000000000000000000000000000000000";

/// Encodes a record as its line, without line feed: compact JSON, sorted keys, slashes unescaped, absent fields
/// omitted. Invalid UTF-8 becomes U+FFFD; for `path` and `destination` the exact bytes are added in base64 as
/// `pathBytes` and `destinationBytes`.
std::string encodeAuditLine(const AuditRecord& record);

/// Decodes a line without line feed. Ignores unknown keys. Throws DecodingError, which begins with `where`.
AuditRecord decodeAuditLine(std::string_view line, const std::string& where);

/// The hash of a record: SHA-256, in lower-case hexadecimal, of `prevHash` followed by the line without `hash`.
std::string auditHash(const AuditRecord& record);

/// Replaces invalid UTF-8 as decoding would, sets the hash, and returns the line.
std::string sealAuditRecord(AuditRecord& record);

}  // namespace tidra
