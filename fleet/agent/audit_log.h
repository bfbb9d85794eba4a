// The append-only, tamper-evident record of what unattended runs did on this host: one JSON object a line, each chained
// to the one before it by a SHA-256 hash. docs/audit.md is the format.
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

/// Lifetime sums over a log. Dry runs count as runs; what they only would have done does not count.
struct AuditTotals {
  std::uint64_t disposedBytes = 0;
  std::int64_t disposedItems = 0;
  std::int64_t failures = 0;  // items that could not be disposed of
  std::uint64_t purgedBytes = 0;
  std::int64_t runs = 0;  // that finished

  void add(AuditRecord::Event event, std::uint64_t bytes, bool dryRun);
  bool operator==(const AuditTotals&) const = default;
};

/// One log file, for as long as one run lasts. Appending may be called from any thread; two processes are kept apart by
/// the run lock.
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
    std::string movedTo;       // the file that holds what was no record
    std::uint64_t offset = 0;  // where that began in the log
    std::uint64_t bytes = 0;   // how much it was
    AuditRecord record;        // which tells of it in the log
  };

  /// Fills in everything but `seq`, `prevHash` and `hash`; what it puts there is overwritten.
  using Builder = std::function<void(AuditRecord&)>;

  /// A line may be this long, line feed included; opening looks no further back for the last one.
  static constexpr std::size_t mostLineBytes = 65536;

  /// Makes the folders above a log that are missing, and finds its last record. A missing file is an empty log. Throws
  /// InputError when the file is no regular file, cannot be read or written, may be written by other users, or does not
  /// end in a record.
  explicit AuditLog(std::string url);

  /// Writes the next record and gives it as written. The file is made when it is missing, for its owner only. When this
  /// throws, from `build`, InputError for a file that cannot be used, or std::system_error for one that takes no more,
  /// the log is as before and the next record takes the same `seq`. A `message` that makes the line longer than
  /// `mostLineBytes` is cut; std::length_error when that does not do.
  AuditRecord append(const Builder& build);

  /// Makes sure, as far as the file system can tell, that the next record will find room on disk. To be called before
  /// what must not go unrecorded. Throws std::system_error when there is none, and InputError as append does.
  void reserve();

  /// Of the last record written or found; 0 and auditGenesis for an empty log.
  std::int64_t seq() const;
  std::string lastHash() const;
  const std::string& url() const { return url_; }

  /// The record that the log ended with when it was opened; none for an empty log.
  std::optional<AuditRecord> lastRecordFound() const;

  /// Sums over the whole log. Reads only what was added since the last call of any process: a checkpoint file beside
  /// the log keeps the rest, is checked against the log, and made anew when it does not fit. Throws InputError naming
  /// the first line that is no record.
  AuditTotals totals() const;

  /// A sentence when the checkpoint beside the log was made of records that the log does not hold: it was cut,
  /// rewritten or begun anew since. totals() makes the checkpoint fit again, so this is to be asked before.
  std::optional<std::string> recordsMissing() const;

  /// Reads the log from start to end with constant memory; never throws. What stands in the file counts, not what this
  /// object knows.
  VerifyResult verify() const;

  /// The same for any file, which may belong to anyone and is not changed.
  static VerifyResult verify(const std::string& url);

  /// Calls `visit` with each complete record of a file in order. A last line that is still being written is passed
  /// over. For a line that is no record `damaged` is called with the reason, which names the line; without it such a
  /// line throws InputError, as does a file that cannot be read.
  static void forEachRecord(const std::string& url, const std::function<void(const AuditRecord&)>& visit,
                            const std::function<void(const std::string& reason)>& damaged = {});

  /// All of them; for short logs.
  static std::vector<AuditRecord> records(const std::string& url);

  /// Moves what follows the last record into a file of its own beside the log, then appends an `error` record that
  /// tells so, for which `build` fills in the host, the run and the actor. A complete record is never touched. None,
  /// and nothing changed, when the log ends in a record or is missing. To be called under the run lock. Throws
  /// InputError as opening does, and std::system_error.
  static std::optional<Repair> repair(const std::string& url, const Builder& build);

  /// What repair would move: where it begins and how much it is.
  struct Tail {
    std::uint64_t offset = 0;
    std::uint64_t bytes = 0;
  };
  static std::optional<Tail> findTornTail(const std::string& url);

 private:
  void findHead(const FileDescriptor& file, std::uint64_t sizeBytes);
  GrowingFile openToAppend() const;

  const std::string url_;
  bool isSafe_ = false;      // nobody else can put another file in the place of the log
  mutable std::mutex lock_;  // guards the rest
  std::int64_t seq_ = 0;
  std::string lastHash_{auditGenesis};
  std::optional<AuditRecord> lastRecordFound_;
  std::uint64_t sizeBytes_ = 0;   // of the file when the head was found
  std::uint64_t reservedTo_ = 0;  // up to where the file system has set room aside
  bool endsInLine_ = true;        // false: the last record lacks its line feed
};

}  // namespace tidra
