// The encoder writes its text directly: it is asked for every appended record, twice, and a tree of JSON values would
// take longer than the write itself. Its output is, byte for byte, what core/base/json_codec.h makes of the same
// fields.
#include "fleet/agent/audit_record.h"

#include <charconv>
#include <cstring>
#include <utility>

#include "core/base/json_fields.h"
#include "core/base/text.h"
#include "fleet/agent/plain_text.h"
#include "fleet/agent/sha256.h"

namespace tidra {
namespace {

bool isText(const std::string& bytes) { return plainLength(bytes) == bytes.size() || isValidUtf8(bytes); }

/// Builds one compact object. Keys come as they are to stand, quoted, with what is before and behind them, and are to
/// be put in their sorted order.
class LineWriter {
 public:
  /// The key ends in the quote that begins the text.
  void put(std::string_view key, std::string_view value) {
    add(key);
    putText(value);
  }
  void putOptional(std::string_view key, const std::optional<std::string>& value) {
    if (value) put(key, *value);
  }
  template <class Number>
  void putNumber(std::string_view key, Number value) {
    add(key);
    std::array<char, 24> digits{};
    const auto written = std::to_chars(digits.data(), digits.data() + digits.size(), value);
    add({digits.data(), static_cast<std::size_t>(written.ptr - digits.data())});
  }
  void putTruth(std::string_view key, bool value) {
    add(key);
    add(value ? "true" : "false");
  }
  /// Both forms of a text that may be any bytes.
  void putBytes(std::string_view key, std::string_view bytesKey, const std::optional<std::string>& bytes) {
    if (!bytes) return;
    put(key, *bytes);
    if (!isText(*bytes)) put(bytesKey, base64Encoded(*bytes));
  }

  std::size_t size() const { return size_; }
  /// True when a text was not valid and stands in the line otherwise.
  bool isReplacing() const { return isReplacing_; }
  std::string finish() && {
    add('}');
    text_.resize(size_);
    return std::move(text_);
  }

 private:
  char* makeRoom(std::size_t bytes) {
    if (text_.size() - size_ < bytes) text_.resize(2 * (size_ + bytes));
    return text_.data() + std::exchange(size_, size_ + bytes);
  }
  void add(std::string_view bytes) { std::memcpy(makeRoom(bytes.size()), bytes.data(), bytes.size()); }
  void add(char byte) { *makeRoom(1) = byte; }

  void putText(std::string_view value) {
    char* const room = makeRoom(value.size() + 1);
    if (copyPlain(value, room)) {
      room[value.size()] = '"';
      return;
    }
    size_ -= value.size() + 1;
    if (isValidUtf8(value)) {
      escape(value);
    } else {
      isReplacing_ = true;
      escape(replacingInvalidUtf8(value));
    }
    add('"');
  }

  void escape(std::string_view value) {
    std::size_t plain = 0;  // where what needs no escaping began
    for (std::size_t i = 0; i < value.size(); ++i) {
      const unsigned char c = static_cast<unsigned char>(value[i]);
      if (c >= ' ' && c != '"' && c != '\\') continue;
      add(value.substr(plain, i - plain));
      escape(c);
      plain = i + 1;
    }
    add(value.substr(plain));
  }

  void escape(unsigned char c) {
    constexpr std::string_view named = "\b\t\n\f\r\"\\";
    constexpr std::string_view letters = "btnfr\"\\";
    const auto found = named.find(static_cast<char>(c));
    if (found != std::string_view::npos) {
      add('\\');
      add(letters[found]);
    } else {
      add(fmt::format("\\u{:04x}", static_cast<unsigned>(c)));
    }
  }

  static constexpr std::size_t usualBytes = 1024;

  std::string text_ = std::string(usualBytes, '\0');
  std::size_t size_ = 0;  // of the line so far; the rest is room
  bool isReplacing_ = false;
};

/// The line without `hash`, and where that belongs.
struct UnsealedLine {
  std::string text;
  std::size_t hashPosition = 0;
  bool isReplacing = false;
};

UnsealedLine encodeUnsealed(const AuditRecord& record) {
  LineWriter line;
  line.put(R"({"actor":")", record.actor);
  if (record.bytes) line.putNumber(R"(,"bytes":)", *record.bytes);
  line.putOptional(R"(,"category":")", record.category);
  line.putBytes(R"(,"destination":")", R"(,"destinationBytes":")", record.destination);
  if (record.dryRun) line.putTruth(R"(,"dryRun":)", *record.dryRun);
  line.put(R"(,"event":")", rawValue(record.event));
  const std::size_t hashPosition = line.size();
  line.put(R"(,"host":")", record.host);
  line.putOptional(R"(,"message":")", record.message);
  if (record.method) line.put(R"(,"method":")", rawValue(*record.method));
  line.putBytes(R"(,"path":")", R"(,"pathBytes":")", record.path);
  line.putOptional(R"(,"policy":")", record.policy);
  line.put(R"(,"prevHash":")", record.prevHash);
  line.putOptional(R"(,"reason":")", record.reason);
  line.putOptional(R"(,"ruleID":")", record.ruleID);
  line.put(R"(,"runID":")", record.runID);
  line.putNumber(R"(,"seq":)", record.seq);
  if (record.tier) line.put(R"(,"tier":")", rawValue(*record.tier));
  line.put(R"(,"time":")", iso8601(record.time));
  const bool isReplacing = line.isReplacing();
  return {std::move(line).finish(), hashPosition, isReplacing};
}

/// Puts a hash in its place; `hash` is text that needs no escaping.
std::string sealed(UnsealedLine line, std::string_view hash) {
  constexpr std::string_view key = R"(,"hash":")";
  const std::size_t bytes = key.size() + hash.size() + 1;
  line.text.insert(line.hashPosition, bytes, '"');
  line.text.replace(line.hashPosition, key.size(), key);
  line.text.replace(line.hashPosition + key.size(), hash.size(), hash);
  return std::move(line.text);
}

std::string escaped(std::string_view text) {
  LineWriter writer;
  writer.put("", text);
  std::string line = std::move(writer).finish();
  line.resize(line.size() - 2);
  return line;
}

std::string hashOf(const UnsealedLine& line, const std::string& prevHash) {
  thread_local Sha256 sha;
  return sha.update(prevHash).update(line.text).finish();
}

/// Makes the texts what the line says. Paths stay as they are: the line has their bytes too.
void replaceInvalidTexts(AuditRecord& record) {
  const auto makeText = [](std::string& text) {
    if (!isText(text)) text = replacingInvalidUtf8(text);
  };
  for (std::string* text : {&record.host, &record.runID, &record.actor, &record.prevHash}) makeText(*text);
  for (auto* text : {&record.policy, &record.category, &record.ruleID, &record.reason, &record.message}) {
    if (*text) makeText(**text);
  }
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
  UnsealedLine line = encodeUnsealed(record);
  if (line.isReplacing) replaceInvalidTexts(record);
  record.hash = hashOf(line, record.prevHash);
  return sealed(std::move(line), *record.hash);
}

}  // namespace tidra
