#include "fleet/agent/audit_checkpoint.h"

#include <fmt/format.h>

#include "core/base/json_fields.h"
#include "core/base/quantities.h"
#include "core/base/text.h"
#include "core/platform/files.h"
#include "core/platform/path_text.h"
#include "fleet/agent/audit_file.h"
#include "fleet/agent/audit_line.h"
#include "fleet/agent/sha256.h"

namespace tidra {
namespace {

constexpr std::uint64_t firstVersion = 1;

nlohmann::json encode(const AuditCheckpoint& checkpoint) {
  const AuditTotals& totals = checkpoint.totals;
  nlohmann::json object{{"disposedBytes", totals.disposedBytes},
                        {"disposedItems", totals.disposedItems},
                        {"failures", totals.failures},
                        {"hash", checkpoint.hash},
                        {"offset", checkpoint.offset},
                        {"purgedBytes", totals.purgedBytes},
                        {"runs", totals.runs},
                        {"seq", checkpoint.seq},
                        {"version", checkpoint.version}};
  if (checkpoint.version > firstVersion) object["freedBytes"] = totals.freedBytes;
  return object;
}

/// Checksum: detects flipped digits, which parse as valid numbers.
std::string checkOf(const AuditCheckpoint& checkpoint) {
  return Sha256().update(jsonText(encode(checkpoint), false)).finish();
}

/// The fields of a line that the totals need. Throws DecodingError.
struct Line {
  std::int64_t seq = 0;
  std::string hash;

  Line(const AuditLineReader::Line& line, AuditTotals& totals) {
    const std::string where = fmt::format("what begins at byte {}", line.offset);
    if (line.tooLong) throw DecodingError(where + " is too long");
    if (const auto canonical = readCanonicalAuditLine(line.text)) {
      totals.add(canonical->act);
      seq = canonical->seq;
      hash = canonical->hash;
      return;
    }
    const AuditRecord record = decodeAuditLine(line.text, where);
    totals.add(AuditedAct::of(record));
    seq = record.seq;
    hash = record.hash.value_or(std::string(auditGenesis));
  }
};

}  // namespace

void AuditTotals::add(const AuditedAct& act) {
  using enum AuditRecord::Event;
  if (act.event == runFinished) ++runs;
  if (act.dryRun) return;
  if (act.event == disposed) {
    disposedBytes = saturatedSum(disposedBytes, act.bytes.value_or(0));
    ++disposedItems;
  } else if (act.event == disposeFailed) {
    ++failures;
  } else if (act.event == purged) {
    purgedBytes = saturatedSum(purgedBytes, act.bytes.value_or(0));
  }
  if (act.event == disposed || act.event == purged) freedBytes = saturatedSum(freedBytes, act.freed());
}

std::string AuditCheckpoint::pathFor(const std::string& log) { return log + ".checkpoint"; }

std::optional<AuditCheckpoint> AuditCheckpoint::read(const std::string& path) {
  constexpr std::size_t mostBytes = 4096;
  if (!isOwnedAndPrivate(parentPath(path))) return std::nullopt;
  const auto text = readRegularFile(path, mostBytes);
  if (!text) return std::nullopt;
  try {
    const auto parsed = parseForeignJson(*text, path);
    const JsonObjectReader object(parsed, path);
    AuditCheckpoint checkpoint{.offset = object.required<std::uint64_t>("offset"),
                               .seq = object.required<std::int64_t>("seq"),
                               .hash = object.required<std::string>("hash"),
                               .totals = {.disposedBytes = object.required<std::uint64_t>("disposedBytes"),
                                          .disposedItems = object.required<std::int64_t>("disposedItems"),
                                          .failures = object.required<std::int64_t>("failures"),
                                          .purgedBytes = object.required<std::uint64_t>("purgedBytes"),
                                          .runs = object.required<std::int64_t>("runs")},
                               .version = object.required<std::uint64_t>("version")};
    if (checkpoint.version > firstVersion) {
      checkpoint.totals.freedBytes = object.required<std::uint64_t>("freedBytes");
    }
    const bool isKnown = checkpoint.version == firstVersion || checkpoint.version == currentVersion;
    const bool isWhole = isKnown && object.required<std::string>("check") == checkOf(checkpoint);
    return isWhole ? std::optional(std::move(checkpoint)) : std::nullopt;
  } catch (const DecodingError&) {
    return std::nullopt;
  }
}

bool AuditCheckpoint::fits(const FileDescriptor& log, std::uint64_t logBytes) const {
  if (offset == 0 || offset > logBytes) return false;
  const std::uint64_t from = offset - std::min<std::uint64_t>(offset, AuditLog::mostLineBytes);
  std::string window(offset - from, '\0');
  const auto got = readAt(log, from, window.data(), window.size());
  if (!got || *got != window.size() || window.back() != '\n') return false;
  window.pop_back();
  try {
    const AuditRecord record = decodeAuditLine(std::string_view(window).substr(window.rfind('\n') + 1), "it");
    return record.seq == seq && record.hash == hash;
  } catch (const DecodingError&) {
    return false;
  }
}

void AuditCheckpoint::write(const std::string& path) const {
  if (!isOwnedAndPrivate(parentPath(path))) return;
  auto object = encode(*this);
  object["check"] = checkOf(*this);
  constexpr unsigned ownerOnly = 0600;
  try {
    replaceFile(path, jsonText(object, false) + "\n", ownerOnly, AtLink::replace);
  } catch (const std::system_error&) {
    return;
  }
}

std::optional<std::string> AuditLog::recordsMissing() const {
  const auto kept = AuditCheckpoint::read(AuditCheckpoint::pathFor(url_));
  if (!kept || kept->offset == 0) return std::nullopt;
  const auto file = AuditFile::open(url_, FileAccess::read);
  if (file && kept->fits(file->descriptor, file->facts.sizeBytes)) return std::nullopt;
  return fmt::format("the audit log no longer holds record {} as it was; it was truncated, rewritten or replaced",
                     kept->seq);
}

AuditTotals AuditLog::totals() const {
  const auto file = AuditFile::open(url_, FileAccess::read);
  if (!file) return {};
  const std::string path = AuditCheckpoint::pathFor(url_);
  const auto kept = AuditCheckpoint::read(path);
  const bool isUsable = kept && kept->version == AuditCheckpoint::currentVersion;
  AuditCheckpoint now = isUsable && kept->fits(file->descriptor, file->facts.sizeBytes) ? *kept : AuditCheckpoint{};
  AuditTotals totals = now.totals;
  try {
    AuditLineReader reader(file->descriptor, now.offset);
    for (AuditLineReader::Line text; reader.next(text);) {
      const Line line(text, totals);
      if (!text.ended) continue;
      now = {.offset = reader.offset(),
             .seq = line.seq,
             .hash = line.hash,
             .totals = totals,
             .version = AuditCheckpoint::currentVersion};
    }
  } catch (const DecodingError& error) {
    throw InputError(
        fmt::format("{0} is damaged: {1}; 'tidra audit verify {2}' shows details, and moving the file "
                    "away starts a new log.",
                    auditLogNamed(url_), escapedForTerminal(error.what()), escapedForTerminal(url_)));
  }
  if (now != kept) now.write(path);
  return totals;
}

}  // namespace tidra
