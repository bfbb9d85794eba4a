// Every appended record is encoded twice and hashed once, so both go through one pass of the writer: the line without
// its hash is hashed, and the hash is inserted where the key belongs.
#include "fleet/agent/audit_record.h"

#include <utility>

#include "fleet/agent/audit_fields.h"
#include "fleet/agent/sha256.h"

namespace tidra {

template <>
struct JsonCodec<AuditRecord> : RecordCodec<AuditRecord> {};

namespace {

struct UnsealedLine {
  std::string text;              // without `hash`
  std::size_t hashPosition = 0;  // where that belongs
  bool isReplacing = false;      // a text was not valid UTF-8
};

UnsealedLine encodeUnsealed(const AuditRecord& record) {
  constexpr std::size_t hashField = fieldIndex<AuditRecord>("hash");
  UnsealedLine line;
  JsonWriter out(line.text);
  bool isFirst = true;
  writeFields<0, hashField>(out, record, isFirst);
  line.hashPosition = out.size();
  writeFields<hashField + 1, fieldCount<AuditRecord>>(out, record, isFirst);
  closeObject(out, isFirst);
  out.flush();
  line.isReplacing = out.hasReplaced();
  return line;
}

/// Inserts the hash, which needs no escaping.
std::string sealed(UnsealedLine line, std::string_view hash) {
  constexpr std::string_view key = R"(,"hash":")";
  const std::size_t bytes = key.size() + hash.size() + 1;
  line.text.insert(line.hashPosition, bytes, '"');
  line.text.replace(line.hashPosition, key.size(), key);
  line.text.replace(line.hashPosition + key.size(), hash.size(), hash);
  return std::move(line.text);
}

std::string hashOf(const UnsealedLine& line, const std::string& prevHash) {
  thread_local Sha256 sha;
  return sha.update(prevHash).update(line.text).finish();
}

nlohmann::json parsedLine(std::string_view line, const std::string& where) {
  try {
    return parseForeignJson(line, where);
  } catch (const DecodingError&) {
    throw DecodingError(where + " is not valid JSON");  // the parser's position would look like the file's
  }
}

}  // namespace

AuditedAct AuditedAct::of(const AuditRecord& record) {
  return {.event = record.event,
          .bytes = record.bytes,
          .freedBytes = record.freedBytes,
          .method = record.method,
          .dryRun = record.dryRun.value_or(false)};
}

std::uint64_t AuditedAct::freed() const {
  const bool isGone = event == AuditRecord::Event::purged || method == DisposalMethod::delete_;
  return freedBytes.value_or(isGone ? bytes.value_or(0) : 0);
}

std::string encodeAuditLine(const AuditRecord& record) { return compactJson(record); }

AuditRecord decodeAuditLine(std::string_view line, const std::string& where) {
  return JsonCodec<AuditRecord>::decode(parsedLine(line, where), where);
}

std::string auditHash(const AuditRecord& record) { return hashOf(encodeUnsealed(record), record.prevHash); }

std::string sealAuditRecord(AuditRecord& record) {
  UnsealedLine line = encodeUnsealed(record);
  if (line.isReplacing) record = JsonCodec<AuditRecord>::decode(parseJson(line.text, "the record"), "the record");
  record.hash = hashOf(line, record.prevHash);
  return sealed(std::move(line), *record.hash);
}

}  // namespace tidra
