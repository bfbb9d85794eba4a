// Crash-safe order: first copy the torn tail to a file of its own and `fsync` it, then overwrite it with the record
// that names the copy. Until that record is complete the log still ends in a torn line, and the next repair starts over
// with another copy.
#include <fmt/format.h>

#include <vector>

#include "core/base/byte_units.h"
#include "core/base/json_fields.h"
#include "core/platform/files.h"
#include "core/platform/folder_entries.h"
#include "core/platform/path_text.h"
#include "fleet/agent/audit_file.h"
#include "fleet/agent/audit_line.h"
#include "fleet/agent/audit_log.h"
#include "fleet/agent/broken_run.h"

namespace tidra {
namespace {

/// The end of the valid records of a log.
struct RecordsEnd {
  std::uint64_t offset = 0;  // after the line feed of the last record
  std::int64_t seq = 0;
  std::string hash{auditGenesis};
  bool isTorn = false;  // followed by more than empty lines
};

bool readRecord(const AuditLineReader::Line& line, RecordsEnd& end) {
  if (line.tooLong) return false;
  if (const auto canonical = readCanonicalAuditLine(line.text)) {
    end.seq = canonical->seq;
    end.hash = canonical->hash;
    return true;
  }
  try {
    const AuditRecord record = decodeAuditLine(line.text, "it");
    end.seq = record.seq;
    end.hash = record.hash.value_or(std::string(auditGenesis));
    return true;
  } catch (const DecodingError&) {
    return false;
  }
}

RecordsEnd findRecordsEnd(const FileDescriptor& file) {
  RecordsEnd end;
  AuditLineReader reader(file);
  for (AuditLineReader::Line line; reader.next(line);) {
    end.isTorn = !readRecord(line, end);
    if (!end.isTorn) end.offset = reader.offset();
  }
  return end;
}

[[noreturn]] void fail(std::error_code reason, const std::string& path) {
  throw std::system_error(reason, fmt::format("{} cannot be written", path));
}

void copyRange(const FileDescriptor& from, std::uint64_t begin, std::uint64_t end, const FileDescriptor& to,
               const std::string& path) {
  constexpr std::size_t chunkBytes = 256_KiB;
  std::vector<char> buffer(chunkBytes);
  for (std::uint64_t at = begin; at < end;) {
    const auto got = readAt(from, at, buffer.data(), std::min<std::uint64_t>(buffer.size(), end - at));
    if (!got || *got == 0) fail(got.failure(), path);
    if (const auto failure = appendWhole(to, {buffer.data(), *got}, at - begin)) fail(failure, path);
    at += *got;
  }
  if (const auto failure = flushFile(to)) fail(failure, path);
}

/// Copies the tail from an offset into a new file beside the log and flushes it (`fsync`). Returns its path.
std::string copyAside(const std::string& url, const AuditFile& log, std::uint64_t offset) {
  for (int number = 0;; ++number) {
    std::string path = url + ".torn" + (number == 0 ? "" : fmt::format("-{}", number));
    const auto made = makeFile(path);
    if (!made && made.failure() == std::errc::file_exists) continue;
    if (!made) fail(made.failure(), path);
    try {
      copyRange(log.descriptor, offset, log.facts.sizeBytes, *made, path);
    } catch (...) {
      removeFile(path);
      throw;
    }
    const auto folder = openDirectory(parentPath(path));
    if (!folder) fail(folder.failure(), path);
    if (const auto failure = flushEntries(folder->get())) fail(failure, path);
    return path;
  }
}

}  // namespace

std::optional<AuditLog::Tail> AuditLog::findTornTail(const std::string& url) {
  const auto file = AuditFile::open(url, FileAccess::read);
  if (!file) throw InputError(fmt::format("{} does not exist.", auditLogNamed(url)));
  const RecordsEnd end = findRecordsEnd(file->descriptor);
  if (!end.isTorn) return std::nullopt;
  return Tail{.offset = end.offset, .bytes = file->facts.sizeBytes - end.offset};
}

std::optional<AuditLog::Repair> AuditLog::repair(const std::string& url, const Builder& build) {
  const auto file = AuditFile::open(url, FileAccess::replace);
  if (!file) throw InputError(fmt::format("{} does not exist.", auditLogNamed(url)));
  const RecordsEnd end = findRecordsEnd(file->descriptor);
  if (!end.isTorn) return std::nullopt;
  Repair done{.movedTo = copyAside(url, *file, end.offset),
              .offset = end.offset,
              .bytes = file->facts.sizeBytes - end.offset,
              .record = {}};
  build(done.record);
  done.record.event = AuditRecord::Event::error;
  done.record.reason = BrokenRun::repairedReason;
  done.record.seq = end.seq + 1;
  done.record.prevHash = end.hash;
  done.record.message = fmt::format("{} bytes from byte {} on were no record; they are kept in {}", done.bytes,
                                    done.offset, done.movedTo);
  const std::string line = sealAuditRecord(done.record) + "\n";
  if (const auto failure = replaceTail(file->descriptor, end.offset, line)) fail(failure, url);
  return done;
}

}  // namespace tidra
