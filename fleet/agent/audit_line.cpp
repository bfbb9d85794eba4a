#include "fleet/agent/audit_line.h"

#include <array>
#include <cstring>

#include "core/base/text.h"
#include "fleet/agent/plain_text.h"

namespace tidra {
namespace {

enum class Kind { text, number, truth, time, event, tier, method, hash, unusual };

struct Field {
  std::string_view opening;  // the quoted key and the colon
  Kind kind;
  bool required = false;
};

/// In the encoder's order.
constexpr std::array fields{
    Field{"\"actor\":", Kind::text, true},
    Field{"\"bytes\":", Kind::number},
    Field{"\"category\":", Kind::text},
    Field{"\"destination\":", Kind::text},
    Field{"\"destinationBytes\":", Kind::unusual},
    Field{"\"dryRun\":", Kind::truth},
    Field{"\"event\":", Kind::event, true},
    Field{"\"hash\":", Kind::hash, true},
    Field{"\"host\":", Kind::text, true},
    Field{"\"message\":", Kind::text},
    Field{"\"method\":", Kind::method},
    Field{"\"path\":", Kind::text},
    Field{"\"pathBytes\":", Kind::unusual},
    Field{"\"policy\":", Kind::text},
    Field{"\"prevHash\":", Kind::text, true},
    Field{"\"reason\":", Kind::text},
    Field{"\"ruleID\":", Kind::text},
    Field{"\"runID\":", Kind::text, true},
    Field{"\"seq\":", Kind::number, true},
    Field{"\"tier\":", Kind::tier},
    Field{"\"time\":", Kind::time, true},
};

/// A left-to-right scanner; each method returns false where the encoder would have written something else.
class Scanner {
 public:
  explicit Scanner(std::string_view line) : at_(line.data()), end_(line.data() + line.size()) {}

  bool atEnd() const { return at_ == end_; }
  const char* place() const { return at_; }

  bool skip(std::string_view expected) {
    if (static_cast<std::size_t>(end_ - at_) < expected.size() ||
        std::memcmp(at_, expected.data(), expected.size()) != 0) {
      return false;
    }
    at_ += expected.size();
    return true;
  }

  bool text(std::string_view& value) {
    if (!skip("\"")) return false;
    const char* const start = at_;
    bool ascii = true;
    while (true) {
      skipPlain();
      if (at_ == end_) return false;
      const unsigned char c = static_cast<unsigned char>(*at_);
      if (c == '"') break;
      if (c < ' ' || (c == '\\' && !escape())) return false;
      if (c >= 0x80) ascii = false;
      if (c != '\\') ++at_;
    }
    value = {start, static_cast<std::size_t>(at_ - start)};
    ++at_;
    return ascii || isValidUtf8(value);
  }

  bool number(std::uint64_t& value) {
    constexpr std::ptrdiff_t mostDigits = 18;
    const char* const start = at_;
    value = 0;
    while (at_ != end_ && *at_ >= '0' && *at_ <= '9' && at_ - start < mostDigits) {
      value = value * 10 + static_cast<std::uint64_t>(*at_++ - '0');
    }
    return at_ != start && (*start != '0' || at_ - start == 1);
  }

 private:
  void skipPlain() { at_ += plainLength({at_, static_cast<std::size_t>(end_ - at_)}); }

  bool escape() {
    for (const std::string_view named : {"\\\"", "\\\\", "\\n", "\\t", "\\r", "\\b", "\\f"}) {
      if (skip(named)) return true;
    }
    if (!skip("\\u00") || end_ - at_ < 2 || (*at_ != '0' && *at_ != '1')) return false;
    const bool upper = *at_++ == '1';
    const char low = *at_++;
    constexpr std::string_view unnamedBelow16 = "01234567bef";  // the others have short escapes
    constexpr std::string_view digits = "0123456789abcdef";
    return (upper ? digits : unnamedBelow16).find(low) != std::string_view::npos;
  }

  const char* at_;
  const char* end_;
};

/// True for "2026-03-14T10:15:00Z" exactly, with valid fields.
bool isTime(std::string_view text) {
  constexpr std::string_view shape = "0000-00-00T00:00:00Z";
  if (text.size() != shape.size()) return false;
  for (std::size_t i = 0; i < shape.size(); ++i) {
    if (shape[i] == '0' ? text[i] < '0' || text[i] > '9' : text[i] != shape[i]) return false;
  }
  const auto pair = [&](std::size_t at) { return (text[at] - '0') * 10 + (text[at + 1] - '0'); };
  constexpr std::size_t month = 5, day = 8, hour = 11, minute = 14, second = 17;
  // A leap second decodes as the next minute, so its encoding differs.
  if (pair(hour) > 23 || pair(minute) > 59 || pair(second) > 59) return false;
  constexpr int shortestMonth = 28;
  const bool certain = pair(month) >= 1 && pair(month) <= 12 && pair(day) >= 1 && pair(day) <= shortestMonth;
  return certain || fromIso8601(text);
}

template <class E>
bool isCase(Scanner& scanner) {
  std::string_view value;
  return scanner.text(value) && fromRawValue<E>(value);
}

bool readValue(Scanner& scanner, const Field& field, CanonicalAuditLine& line) {
  std::string_view value;
  std::uint64_t number = 0;
  switch (field.kind) {
    case Kind::text:
      if (!scanner.text(value)) return false;
      if (field.opening == "\"prevHash\":") line.prevHash = value;
      return true;
    case Kind::number:
      if (!scanner.number(number)) return false;
      if (field.required) {
        line.seq = static_cast<std::int64_t>(number);
      } else {
        line.bytes = number;
      }
      return true;
    case Kind::truth:
      line.dryRun = scanner.skip("true");
      return line.dryRun || scanner.skip("false");
    case Kind::time:
      return scanner.text(value) && isTime(value);
    case Kind::event:
      if (!scanner.text(value)) return false;
      if (const auto event = fromRawValue<AuditRecord::Event>(value)) {
        line.event = *event;
        return true;
      }
      return false;
    case Kind::tier:
      return isCase<ArtifactSafetyTier>(scanner);
    case Kind::method:
      return isCase<DisposalMethod>(scanner);
    case Kind::hash:
      return scanner.text(line.hash);
    case Kind::unusual:
      return false;
  }
  return false;
}

}  // namespace

std::optional<CanonicalAuditLine> readCanonicalAuditLine(std::string_view line) {
  CanonicalAuditLine result;
  Scanner scanner(line);
  if (!scanner.skip("{")) return std::nullopt;
  for (const Field& field : fields) {
    const char* const start = scanner.place();
    const bool first = start == line.data() + 1;
    Scanner ahead = scanner;
    const std::size_t key = static_cast<std::size_t>(start - line.data()) + (first ? 1 : 2);
    if (key < line.size() && line[key] != field.opening[1] && !field.required) continue;
    if ((!first && !ahead.skip(",")) || !ahead.skip(field.opening)) {
      if (field.required) return std::nullopt;
      continue;
    }
    if (!readValue(ahead, field, result)) return std::nullopt;
    if (field.kind == Kind::hash) {
      result.beforeHash = line.substr(0, static_cast<std::size_t>(start - line.data()));
      result.afterHash = line.substr(static_cast<std::size_t>(ahead.place() - line.data()));
    }
    scanner = ahead;
  }
  return scanner.skip("}") && scanner.atEnd() ? std::optional(result) : std::nullopt;
}

}  // namespace tidra
