#include "fleet/agent/audit_log.h"

#include <fmt/format.h>

#include <cassert>
#include <limits>

#include "core/base/json_fields.h"
#include "core/base/text.h"
#include "core/platform/held_folder.h"
#include "core/platform/path_text.h"
#include "fleet/agent/audit_file.h"
#include "fleet/agent/state_folder.h"

namespace tidra {
namespace {

/// The last line of a log, read from its tail only.
struct LastLine {
  std::string_view text;
  std::uint64_t offset = 0;
  bool ended = true;
  bool cutByWindow = false;  // it may begin before the window
};

LastLine lastLineOf(std::string_view window, std::uint64_t windowOffset) {
  const auto end = window.find_last_not_of('\n');
  if (end == std::string_view::npos) return {};
  const auto before = window.substr(0, end + 1).rfind('\n');
  const std::size_t begin = before == std::string_view::npos ? 0 : before + 1;
  return {.text = window.substr(begin, end + 1 - begin),
          .offset = windowOffset + begin,
          .ended = window.back() == '\n',
          .cutByWindow = begin == 0 && windowOffset > 0};
}

[[noreturn]] void failTorn(const std::string& url, const LastLine& line, const std::string& why) {
  const std::string reason = line.cutByWindow ? fmt::format("is longer than {} bytes", AuditLog::mostLineBytes)
                             : line.ended     ? why
                                              : "is cut off: no line feed follows, and it " + why;
  throw InputError(fmt::format(
      "{} cannot be continued: its last line, {} bytes from byte {} on, {}; if this is an audit log, "
      "'tidra audit repair {}' moves that line aside.",
      auditLogNamed(url), line.text.size(), line.offset, escapedForTerminal(reason), escapedForTerminal(url)));
}

/// Decodes the last line of a log.
AuditRecord recordOf(const std::string& url, const LastLine& line) {
  const std::string where = "the record";
  try {
    return decodeAuditLine(line.text, where);
  } catch (const DecodingError& error) {
    std::string_view why = error.what();
    why.remove_prefix(where.size());
    failTorn(url, line,
             why.starts_with(' ') ? std::string(why.substr(1)) : "is no record: " + std::string(why.substr(1)));
  }
}

std::string readWindow(const std::string& url, const FileDescriptor& file, std::uint64_t from, std::uint64_t to) {
  assert(from <= to);
  std::string window(to - from, '\0');
  const auto got = readAt(file, from, window.data(), window.size());
  if (!got) throw InputError(fmt::format("{} cannot be read: {}.", auditLogNamed(url), got.failure().message()));
  window.resize(*got);
  return window;
}

bool endsInLineFeed(const std::string& url, std::uint64_t sizeBytes) {
  const auto file = AuditFile::open(url, FileAccess::read);
  return sizeBytes == 0 || !file || readWindow(url, file->descriptor, sizeBytes - 1, sizeBytes) == "\n";
}

/// Truncates the message at a character boundary so that the line fits.
std::string sealToFit(AuditRecord& record) {
  std::string line = sealAuditRecord(record);
  if (line.size() < AuditLog::mostLineBytes) return line;
  constexpr std::size_t longestCutMessage = 4096;
  if (record.message && record.message->size() > longestCutMessage) {
    record.message = std::string(utf8Prefix(*record.message, longestCutMessage)) + "…";
    line = sealAuditRecord(record);
  }
  if (line.size() >= AuditLog::mostLineBytes) {
    throw std::length_error(
        fmt::format("A record of the audit log would be longer than {} bytes.", AuditLog::mostLineBytes));
  }
  return line;
}

}  // namespace

AuditLog::AuditLog(std::string url) : url_(std::move(url)) {
  makeStateFolder(parentPath(url_), "audit log");
  isSafe_ = isBeyondOthersReach(parentPath(url_));
  // Fail early: a log that cannot be appended to must stop the run before anything is removed.
  if (!AuditFile::open(url_, FileAccess::append)) return;
  if (const auto file = AuditFile::open(url_, FileAccess::read)) findHead(file->descriptor, file->facts.sizeBytes);
}

/// Continues the chain from the last record of the file.
void AuditLog::findHead(const FileDescriptor& file, std::uint64_t sizeBytes) {
  const std::uint64_t from = sizeBytes > mostLineBytes ? sizeBytes - mostLineBytes : 0;
  const std::string window = readWindow(url_, file, from, sizeBytes);
  const LastLine line = lastLineOf(window, from);
  if (!line.text.empty()) {
    lastRecordFound_ = recordOf(url_, line);
    seq_ = lastRecordFound_->seq;
    lastHash_ = lastRecordFound_->hash.value_or(std::string(auditGenesis));
  } else if (from > 0) {
    throw InputError(
        fmt::format("{} cannot be continued: it ends in more than {} empty lines; moving the file away "
                    "starts a new log.",
                    auditLogNamed(url_), mostLineBytes));
  }
  endsInLine_ = line.ended;
  sizeBytes_ = sizeBytes;
}

std::int64_t AuditLog::seq() const {
  const std::scoped_lock guard(lock_);
  return seq_;
}

std::string AuditLog::lastHash() const {
  const std::scoped_lock guard(lock_);
  return lastHash_;
}

std::optional<AuditRecord> AuditLog::lastRecordFound() const {
  const std::scoped_lock guard(lock_);
  return lastRecordFound_;
}

/// Where no other user can replace the file, an unchanged size means the file checked before;
/// a full check costs more than the write.
GrowingFile AuditLog::openToAppend(const Lock& /*held*/) const {
  if (isSafe_) {
    auto known = openGrowingFile(url_);
    if (known && known->sizeBytes == sizeBytes_) return std::move(*known);
  }
  AuditFile file = AuditFile::openOrMake(url_);
  return {std::move(file.descriptor), file.facts.sizeBytes};
}

AuditRecord AuditLog::append(const Builder& build) {
  const std::scoped_lock guard(lock_);
  const auto [file, sizeBytes] = openToAppend(guard);
  if (sizeBytes > sizeBytes_) {
    // Another run appended before this one took the run lock.
    if (const auto reading = AuditFile::open(url_, FileAccess::read)) findHead(reading->descriptor, sizeBytes);
  } else if (sizeBytes < sizeBytes_) {
    // The log was truncated. Continue the chain from memory, so that the gap is detectable.
    endsInLine_ = endsInLineFeed(url_, sizeBytes);
    reservedTo_ = 0;
  }
  if (seq_ == std::numeric_limits<std::int64_t>::max()) throw std::overflow_error("The audit log is full.");
  AuditRecord record;
  build(record);
  record.seq = seq_ + 1;
  record.prevHash = lastHash_;
  record.hash.reset();
  std::string line = sealToFit(record);
  line += '\n';
  if (!endsInLine_) line.insert(0, 1, '\n');
  if (const auto failure = appendWhole(file, line, sizeBytes)) {
    reservedTo_ = 0;
    throw std::system_error(failure, auditLogNamed(url_) + " cannot be written");
  }
  assert(record.seq == seq_ + 1 && record.hash);
  seq_ = record.seq;
  lastHash_ = *record.hash;
  sizeBytes_ = sizeBytes + line.size();
  endsInLine_ = true;
  return record;
}

void AuditLog::reserve() {
  const std::scoped_lock guard(lock_);
  // Reserve room for many records at a time, to amortise the system call.
  constexpr std::uint64_t atATime = 2 * mostLineBytes;
  if (reservedTo_ >= sizeBytes_ + mostLineBytes) return;
  const AuditFile file = AuditFile::openOrMake(url_);
  if (const auto failure = reserveBehind(file.descriptor, file.facts.sizeBytes, atATime)) {
    throw std::system_error(failure, auditLogNamed(url_) + " has no room for another record");
  }
  reservedTo_ = file.facts.sizeBytes + atATime;
}

void AuditLog::forEachRecord(const std::string& url, const std::function<void(const AuditRecord&)>& visit,
                             const std::function<void(const std::string& reason)>& damaged) {
  const auto file = AuditFile::open(url, FileAccess::read);
  if (!file) throw InputError(fmt::format("{} does not exist.", auditLogNamed(url)));
  AuditLineReader reader(file->descriptor);
  AuditLineReader::Line line;
  while (reader.next(line)) {
    std::optional<AuditRecord> record;
    try {
      if (line.tooLong) throw DecodingError(placeOf(line) + " is too long");
      record = decodeAuditLine(line.text, placeOf(line));
    } catch (const DecodingError& error) {
      if (!line.ended) continue;
      if (!damaged) {
        throw InputError(fmt::format("{} is damaged: {}.", auditLogNamed(url), escapedForTerminal(error.what())));
      }
      damaged(error.what());
    }
    if (record) visit(*record);
  }
}

std::vector<AuditRecord> AuditLog::records(const std::string& url) {
  std::vector<AuditRecord> records;
  forEachRecord(url, [&](const AuditRecord& record) { records.push_back(record); });
  return records;
}

}  // namespace tidra
