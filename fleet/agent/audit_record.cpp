// The encoder writes its text directly: it is asked for every appended record, twice, and a tree of JSON values would
// take longer than the write itself. Its output is, byte for byte, what core/base/json_codec.h makes of the same
// fields.
#include "fleet/agent/audit_record.h"

#include <charconv>

#include "core/base/json_fields.h"
#include "core/base/text.h"
#include "fleet/agent/plain_text.h"
#include "fleet/agent/sha256.h"

namespace tidra {
namespace {

bool isText(const std::string& bytes) { return plainLength(bytes) == bytes.size() || isValidUtf8(bytes); }

/// Builds one compact object. Keys are to be put in their sorted order.
class LineWriter {
 public:
  LineWriter() {
    constexpr std::size_t usualBytes = 768;
    text_.reserve(usualBytes);
  }

  void put(std::string_view key, std::string_view value) {
    begin(key);
    text_ += '"';
    if (plainLength(value) == value.size()) {
      text_ += value;
    } else if (isValidUtf8(value)) {
      escape(value);
    } else {
      escape(replacingInvalidUtf8(value));
    }
    text_ += '"';
  }
  void putOptional(std::string_view key, const std::optional<std::string>& value) {
    if (value) put(key, *value);
  }
  template <class Number>
  void putNumber(std::string_view key, Number value) {
    begin(key);
    std::array<char, 24> digits{};
    const auto written = std::to_chars(digits.data(), digits.data() + digits.size(), value);
    text_.append(digits.data(), written.ptr);
  }
  void putTruth(std::string_view key, bool value) {
    begin(key);
    text_ += value ? "true" : "false";
  }
  /// Both forms of a text that may be any bytes.
  void putBytes(std::string_view key, const std::optional<std::string>& bytes) {
    putOptional(key, bytes);
    if (bytes && !isText(*bytes)) put(std::string(key) + "Bytes", base64Encoded(*bytes));
  }

  std::size_t size() const { return text_.size(); }
  std::string finish() && {
    text_ += '}';
    return std::move(text_);
  }

 private:
  void begin(std::string_view key) {
    text_ += text_.empty() ? "{\"" : ",\"";
    text_ += key;
    text_ += "\":";
  }

  void escape(std::string_view value) {
    std::size_t plain = 0;  // where what needs no escaping began
    for (std::size_t i = 0; i < value.size(); ++i) {
      const unsigned char c = static_cast<unsigned char>(value[i]);
      if (c >= ' ' && c != '"' && c != '\\') continue;
      text_ += value.substr(plain, i - plain);
      escape(c);
      plain = i + 1;
    }
    text_ += value.substr(plain);
  }

  void escape(unsigned char c) {
    constexpr std::string_view named = "\b\t\n\f\r\"\\";
    constexpr std::string_view letters = "btnfr\"\\";
    const auto found = named.find(static_cast<char>(c));
    if (found != std::string_view::npos) {
      text_ += '\\';
      text_ += letters[found];
    } else {
      text_ += fmt::format("\\u{:04x}", static_cast<unsigned>(c));
    }
  }

  std::string text_;
};

/// The line without `hash`, and where that belongs.
struct UnsealedLine {
  std::string text;
  std::size_t hashPosition = 0;
};

UnsealedLine encodeUnsealed(const AuditRecord& record) {
  LineWriter line;
  line.put("actor", record.actor);
  if (record.bytes) line.putNumber("bytes", *record.bytes);
  line.putOptional("category", record.category);
  line.putBytes("destination", record.destination);
  if (record.dryRun) line.putTruth("dryRun", *record.dryRun);
  line.put("event", rawValue(record.event));
  const std::size_t hashPosition = line.size();
  line.put("host", record.host);
  line.putOptional("message", record.message);
  if (record.method) line.put("method", rawValue(*record.method));
  line.putBytes("path", record.path);
  line.putOptional("policy", record.policy);
  line.put("prevHash", record.prevHash);
  line.putOptional("reason", record.reason);
  line.putOptional("ruleID", record.ruleID);
  line.put("runID", record.runID);
  line.putNumber("seq", record.seq);
  if (record.tier) line.put("tier", rawValue(*record.tier));
  line.put("time", iso8601(record.time));
  return {std::move(line).finish(), hashPosition};
}

/// Puts a hash, as text that needs no escaping, in its place.
std::string sealed(UnsealedLine line, std::string_view hash) {
  constexpr std::string_view opening = ",\"hash\":\"";
  line.text.insert(line.hashPosition, opening.size() + hash.size() + 1, '"');
  line.text.replace(line.hashPosition, opening.size(), opening);
  line.text.replace(line.hashPosition + opening.size(), hash.size(), hash);
  return std::move(line.text);
}

std::string escaped(const std::string& text) {
  LineWriter field;
  field.put("", text);
  constexpr std::size_t before = 5;  // {"":"
  const std::string object = std::move(field).finish();
  return object.substr(before, object.size() - before - 2);
}

std::string hashOf(const UnsealedLine& line, const std::string& prevHash) {
  thread_local Sha256 sha;
  return sha.update(prevHash).update(line.text).finish();
}

nlohmann::json parsedLine(std::string_view line, const std::string& where) {
  try {
    return parseForeignJson(line, where);
  } catch (const DecodingError&) {
    throw DecodingError(where + " is not valid JSON");  // the place within the line would read like one in the file
  }
}

}  // namespace

std::string encodeAuditLine(const AuditRecord& record) {
  UnsealedLine line = encodeUnsealed(record);
  return record.hash ? sealed(std::move(line), escaped(*record.hash)) : std::move(line.text);
}

AuditRecord decodeAuditLine(std::string_view line, const std::string& where) {
  const auto parsed = parsedLine(line, where);
  const JsonObjectReader object(parsed, where);
  AuditRecord record{.seq = object.required<std::int64_t>("seq"),
                     .time = object.required<TimePoint>("time"),
                     .host = object.required<std::string>("host"),
                     .runID = object.required<std::string>("runID"),
                     .event = object.required<AuditRecord::Event>("event"),
                     .actor = object.required<std::string>("actor"),
                     .policy = object.optional<std::string>("policy"),
                     .path = object.optionalBytes("path"),
                     .bytes = object.optional<std::uint64_t>("bytes"),
                     .tier = object.optional<ArtifactSafetyTier>("tier"),
                     .category = object.optional<std::string>("category"),
                     .ruleID = object.optional<std::string>("ruleID"),
                     .method = object.optional<DisposalMethod>("method"),
                     .destination = object.optionalBytes("destination"),
                     .reason = object.optional<std::string>("reason"),
                     .message = object.optional<std::string>("message"),
                     .dryRun = object.optional<bool>("dryRun"),
                     .prevHash = object.required<std::string>("prevHash"),
                     .hash = object.optional<std::string>("hash")};
  return record;
}

std::string auditHash(const AuditRecord& record) { return hashOf(encodeUnsealed(record), record.prevHash); }

std::string sealAuditRecord(AuditRecord& record) {
  const auto makeText = [](std::string& text) {
    if (!isText(text)) text = replacingInvalidUtf8(text);
  };
  for (std::string* text : {&record.host, &record.runID, &record.actor, &record.prevHash}) makeText(*text);
  for (auto* text : {&record.policy, &record.category, &record.ruleID, &record.reason, &record.message}) {
    if (*text) makeText(**text);
  }
  UnsealedLine line = encodeUnsealed(record);
  record.hash = hashOf(line, record.prevHash);
  return sealed(std::move(line), *record.hash);
}

}  // namespace tidra
