// The append-only, tamper-evident log of unattended runs: one JSON object a line, a SHA-256 hash chain. Format:
// docs/audit.md.
#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "core/platform/file_descriptor.h"
#include "core/platform/open_file.h"
#include "fleet/agent/audit_record.h"

namespace tidra {

/// Totals over the whole log. Dry runs count as runs; their items do not.
struct AuditTotals {
  std::uint64_t disposedBytes = 0;
  std::int64_t disposedItems = 0;
  std::int64_t failures = 0;  // items that could not be disposed of
  std::uint64_t purgedBytes = 0;
  std::int64_t runs = 0;         // finished runs
  std::uint64_t freedBytes = 0;  // that the volumes gained by what was disposed of and purged

  void add(const AuditedAct& act);
  bool operator==(const AuditTotals&) const = default;
};

/// A log file during one run. append() is thread-safe; the run lock excludes other processes.
class AuditLog {
 public:
  struct VerifyResult {
    std::int64_t records = 0;
    bool ok = false;
    std::optional<std::int64_t> firstBadSeq;
    std::string message;

    bool operator==(const VerifyResult&) const = default;
  };

  struct Repair {
    std::string movedTo;       // the file with the removed bytes
    std::uint64_t offset = 0;  // of those bytes in the log
    std::uint64_t bytes = 0;   // their number
    AuditRecord record;        // the `error` record appended for it
  };

  /// Fills in all fields except `seq`, `prevHash` and `hash`, which are overwritten.
  using Builder = std::function<void(AuditRecord&)>;

  /// Maximum length of a line with its line feed; opening searches the last record no further back.
  static constexpr std::size_t mostLineBytes = 65536;

  /// Creates missing folders and finds the last record. A missing file is an empty log. Throws InputError when the file
  /// is not regular, not readable, not writable, writable for other users, or does not end in a record.
  explicit AuditLog(std::string url);

  /// Throws as the constructor does.
  static void requireUsable(const std::string& url) { static_cast<void>(AuditLog(url)); }

  /// Writes the next record and returns it as written. A missing file is created, mode 0600. Strong guarantee: after an
  /// exception the log is unchanged and the next record has the same `seq`. Throws what `build` throws, InputError for
  /// an unusable file, std::system_error when writing fails. A `message` is truncated to fit `mostLineBytes`; throws
  /// std::length_error when that is not enough.
  AuditRecord append(const Builder& build);

  /// Reserves disk space for the next record, as far as the file system can. Call before an act that must not go
  /// unrecorded. Throws std::system_error when there is none, and InputError as append does.
  void reserve();

  /// Of the last record; 0 and auditGenesis in an empty log.
  std::int64_t seq() const;
  std::string lastHash() const;
  const std::string& url() const { return url_; }

  /// The last record when the log was opened; none in an empty log.
  std::optional<AuditRecord> lastRecordFound() const;

  /// Totals over the whole log. Reads only lines added since the last call of any process: a checkpoint beside the log
  /// caches the rest; it is checked against the log and rebuilt when it does not fit. Throws InputError that names the
  /// first line that is no record.
  [[nodiscard]] AuditTotals totals() const;

  /// Throws InputError as totals() does.
  void requireSound() const { static_cast<void>(totals()); }

  /// Extends the checkpoint to the last record, so that a later run notices its loss. Throws as totals() does.
  void saveCheckpoint() const { static_cast<void>(totals()); }

  /// A sentence when the checkpoint covers records that the log lacks: the log was truncated, rewritten or replaced.
  /// Call before totals(), which rebuilds the checkpoint.
  std::optional<std::string> recordsMissing() const;

  /// Verifies the file from start to end in constant memory; never throws. Ignores the state of this object.
  VerifyResult verify() const;

  /// Verifies any file, whoever owns it, read-only.
  static VerifyResult verify(const std::string& url);

  /// Calls `visit` for each record in order. Skips a last line without line feed, which may still be written. Calls
  /// `damaged` with a reason that names the line for each invalid line; without `damaged` such a line throws
  /// InputError, as does a file that cannot be read.
  static void forEachRecord(const std::string& url, const std::function<void(const AuditRecord&)>& visit,
                            const std::function<void(const std::string& reason)>& damaged = {});

  /// All records; for short logs.
  static std::vector<AuditRecord> records(const std::string& url);

  /// Moves everything after the last record into a file beside the log, then appends an `error` record about it, for
  /// which `build` sets host, run and actor. Complete records are never touched. None, and no change, when the log ends
  /// in a record or is missing. Call with the run lock held. Throws std::system_error, and InputError as the
  /// constructor does.
  static std::optional<Repair> repair(const std::string& url, const Builder& build);

  /// The bytes that repair would move.
  struct Tail {
    std::uint64_t offset = 0;
    std::uint64_t bytes = 0;
  };
  static std::optional<Tail> findTornTail(const std::string& url);

 private:
  void findHead(const FileDescriptor& file, std::uint64_t sizeBytes);
  using Lock = std::scoped_lock<std::mutex>;
  GrowingFile openToAppend(const Lock& held) const;

  const std::string url_;
  bool isSafe_ = false;      // no other user can replace the log
  mutable std::mutex lock_;  // guards the rest
  std::int64_t seq_ = 0;
  std::string lastHash_{auditGenesis};
  std::optional<AuditRecord> lastRecordFound_;
  std::uint64_t sizeBytes_ = 0;   // of the file when last read or written
  std::uint64_t reservedTo_ = 0;  // disk space is reserved up to here
  bool endsInLine_ = true;        // false: the last record has no line feed
};

}  // namespace tidra
