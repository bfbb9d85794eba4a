// How far the sums over the audit log are known, kept in a small file beside it, so that no run reads the whole log.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "core/base/json_codec.h"
#include "core/platform/file_descriptor.h"
#include "fleet/agent/audit_log.h"

namespace tidra {

/// The sums over everything before an offset. They can be had from the log at any time: a checkpoint is a help, never
/// evidence.
struct AuditCheckpoint {
  std::uint64_t offset = 0;        // in the log, right after a line feed; 0: nothing is known
  std::int64_t seq = 0;            // of the record that ends there
  std::string hash{auditGenesis};  // of the same
  AuditTotals totals;

  /// The file beside the log.
  static std::string pathFor(const std::string& log);

  /// None when the file is missing or damaged, or lies in a folder in which other users may put one.
  static std::optional<AuditCheckpoint> read(const std::string& path);

  /// True when the record that ends at the offset is the one that this was made after.
  bool fits(const FileDescriptor& log, std::uint64_t logBytes) const;

  /// Replaces the file as a whole. A failure is no matter: the next reader takes longer. Nothing is written into a
  /// folder in which other users may put a link.
  void write(const std::string& path) const;

  bool operator==(const AuditCheckpoint&) const = default;
};

}  // namespace tidra
