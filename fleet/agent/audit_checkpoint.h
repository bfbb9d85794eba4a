// A cached prefix sum over the audit log, in a small file beside it, so that a run does not read the whole log.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "core/base/json_codec.h"
#include "core/platform/file_descriptor.h"
#include "fleet/agent/audit_log.h"

namespace tidra {

/// The totals of everything before an offset. A cache, never evidence: they can always be computed from the log.
struct AuditCheckpoint {
  std::uint64_t offset = 0;        // in the log, right after a line feed; 0: empty
  std::int64_t seq = 0;            // of the record that ends there
  std::string hash{auditGenesis};  // of the same record
  AuditTotals totals;
  std::uint64_t version = currentVersion;  // of the file; an older one lacks `totals.freedBytes`

  static constexpr std::uint64_t currentVersion = 2;

  /// The file beside the log.
  static std::string pathFor(const std::string& log);

  /// None when the file is missing or damaged, or other users can write to its folder.
  static std::optional<AuditCheckpoint> read(const std::string& path);

  /// True when the record that ends at the offset has this `seq` and `hash`.
  bool fits(const FileDescriptor& log, std::uint64_t logBytes) const;

  /// Replaces the file atomically. Best effort: without a checkpoint the next reader scans the whole log. Writes
  /// nothing when other users can write to the folder (symlink attacks).
  void write(const std::string& path) const;

  bool operator==(const AuditCheckpoint&) const = default;
};

}  // namespace tidra
