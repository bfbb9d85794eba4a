// Verifies the hash chain in one pass in constant memory. A canonical line is hashed without decoding; any other line
// that decodes was not written by this program, regardless of its hash. An invalid line outranks an earlier break of
// the chain in the result, so the rest is read after a break too.
#include <fmt/format.h>

#include "core/base/json_fields.h"
#include "fleet/agent/audit_file.h"
#include "fleet/agent/audit_line.h"
#include "fleet/agent/audit_log.h"
#include "fleet/agent/sha256.h"

namespace tidra {
namespace {

class Chain {
 public:
  /// Throws DecodingError for a line that is no record.
  void add(const AuditLineReader::Line& line) {
    ++records_;
    if (line.tooLong) throw DecodingError(placeOf(line) + " is too long");
    if (const auto canonical = readCanonicalAuditLine(line.text)) {
      if (failure_ || !follows(canonical->seq, canonical->prevHash)) return;
      sha_.update(canonical->prevHash).update(canonical->beforeHash).update(canonical->afterHash);
      advance(canonical->seq, canonical->hash, sha_.finish() == canonical->hash);
      return;
    }
    const AuditRecord record = decodeAuditLine(line.text, placeOf(line));
    if (failure_ || !follows(record.seq, record.prevHash)) return;
    advance(record.seq, record.hash.value_or(""),
            record.hash == auditHash(record) && encodeAuditLine(record) == line.text);
  }

  AuditLog::VerifyResult result() && {
    if (failure_) {
      failure_->records = records_;
      return std::move(*failure_);
    }
    return {.records = records_, .ok = true, .firstBadSeq = {}, .message = fmt::format("OK ({} records)", records_)};
  }

 private:
  bool follows(std::int64_t seq, std::string_view prevHash) {
    if (seq != expected_) {
      fail(seq, fmt::format("Sequence gap: expected {}, found {}", expected_, seq));
    } else if (prevHash != previous_) {
      fail(seq, fmt::format("Broken chain at seq {}", seq));
    }
    return !failure_;
  }

  void advance(std::int64_t seq, std::string_view hash, bool isRight) {
    if (!isRight) fail(seq, fmt::format("Hash mismatch at seq {}", seq));
    previous_ = hash;
    expected_ = seq + 1;
  }

  void fail(std::int64_t seq, std::string message) {
    failure_ = AuditLog::VerifyResult{.records = 0, .ok = false, .firstBadSeq = seq, .message = std::move(message)};
  }

  std::int64_t records_ = 0;
  std::int64_t expected_ = 1;
  std::string previous_{auditGenesis};
  std::optional<AuditLog::VerifyResult> failure_;
  Sha256 sha_;
};

AuditLog::VerifyResult unreadable(const std::string& why) {
  return {.records = 0, .ok = false, .firstBadSeq = {}, .message = "Cannot read log: " + why};
}

}  // namespace

AuditLog::VerifyResult AuditLog::verify() const { return verify(url_); }

AuditLog::VerifyResult AuditLog::verify(const std::string& url) {
  try {
    const auto file = AuditFile::open(url, FileAccess::read);
    if (!file) return unreadable("there is no file " + url);
    Chain chain;
    AuditLineReader reader(file->descriptor);
    for (AuditLineReader::Line line; reader.next(line);) chain.add(line);
    return std::move(chain).result();
  } catch (const std::exception& error) {
    return unreadable(error.what());
  }
}

}  // namespace tidra
