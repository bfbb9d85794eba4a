// The history is nearly all of a host's file. Where the text is exactly as hostFileText writes it, the history is read
// by a scanner that knows nothing else, and the general decoder gets the document without it. Any other text goes to
// the general decoder as a whole, so that the scanner decides nothing.
#include "fleet/hub/host_file.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <optional>

#include "core/base/text.h"
#include "core/model/stable_id.h"
#include "fleet/hub/folder_listing.h"
#include "fleet/hub/protocol/hub_json.h"

namespace tidra {
namespace {

constexpr std::string_view noHistory = R"("history":[])";
constexpr std::string_view historyBegin = R"("history":[)";
constexpr std::string_view emptyArray = "[]";
constexpr std::string_view datePattern = "2026-03-14T10:15:00Z";

bool isKept(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '_' || c == '.';
}

/// Neighbouring points mostly lie on one day, and its date is the dear part of a time.
class DateCache {
 public:
  void append(std::string& text, TimePoint time) {
    const auto day = std::chrono::floor<std::chrono::days>(time);
    if (date_.empty() || day != day_) {
      day_ = day;
      date_ = iso8601(day).substr(0, dateLength);
    }
    const auto second = static_cast<int>((time - day).count());
    std::array<char, clockLength> clock{'T', '0', '0', ':', '0', '0', ':', '0', '0', 'Z'};
    const auto put = [&clock](std::size_t at, int number) {
      clock[at] = static_cast<char>('0' + number / 10);
      clock[at + 1] = static_cast<char>('0' + number % 10);
    };
    put(1, second / 3600);
    put(4, second / 60 % 60);
    put(7, second % 60);
    text += date_;
    text.append(clock.data(), clock.size());
  }

  /// Of a text as append makes it; none for any other.
  std::optional<TimePoint> parse(std::string_view text) {
    if (text.size() != dateLength + clockLength) return std::nullopt;
    if (date_.empty() || !text.starts_with(date_)) {
      const auto begin = fromIso8601(std::string(text.substr(0, dateLength)) + "T00:00:00Z");
      if (!begin) return std::nullopt;
      day_ = std::chrono::floor<std::chrono::days>(*begin);
      date_ = text.substr(0, dateLength);
    }
    text.remove_prefix(dateLength);
    if (text[0] != 'T' || text[3] != ':' || text[6] != ':' || text[9] != 'Z') return std::nullopt;
    const auto hour = pair(text, 1);
    const auto minute = pair(text, 4);
    const auto second = pair(text, 7);
    if (hour > 23 || minute > 59 || second > 59) return std::nullopt;
    return day_ + std::chrono::hours{hour} + std::chrono::minutes{minute} + std::chrono::seconds{second};
  }

 private:
  static constexpr std::size_t dateLength = 10;   // 2026-03-14
  static constexpr std::size_t clockLength = 10;  // T10:15:00Z

  static int pair(std::string_view text, std::size_t at) {
    constexpr int none = 100;
    const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
    return isDigit(text[at]) && isDigit(text[at + 1]) ? (text[at] - '0') * 10 + (text[at + 1] - '0') : none;
  }

  std::chrono::sys_days day_{};
  std::string date_;
};

void appendPoint(std::string& text, const HubHistoryPoint& point, DateCache& dates) {
  const auto put = [&text](std::string_view key, std::int64_t number) {
    text += key;
    const fmt::format_int digits(number);
    text.append(digits.data(), digits.size());
  };
  put(R"({"disposedBytes":)", point.disposedBytes);
  text += point.dryRun ? R"(,"dryRun":true)" : R"(,"dryRun":false)";
  put(R"(,"failures":)", point.failures);
  put(R"(,"reclaimableBytes":)", point.reclaimableBytes);
  text += R"(,"time":")";
  dates.append(text, point.time);
  text += '"';
  if (point.volumeAvailableBytes) put(R"(,"volumeAvailableBytes":)", *point.volumeAvailableBytes);
  text += '}';
}

/// Takes the parts of a text off its front. Once one does not fit, nothing does.
class Scanner {
 public:
  explicit Scanner(std::string_view text) : rest_(text) {}

  bool take(std::string_view expected) {
    if (!rest_.starts_with(expected)) return false;
    rest_.remove_prefix(expected.size());
    return true;
  }

  bool take(std::int64_t& number) {
    const auto [end, error] = std::from_chars(rest_.data(), rest_.data() + rest_.size(), number);
    const bool isJson = !rest_.starts_with("-0") && (!rest_.starts_with('0') || end == rest_.data() + 1);
    if (error != std::errc{} || !isJson) return false;
    rest_.remove_prefix(static_cast<std::size_t>(end - rest_.data()));
    return true;
  }

  bool take(TimePoint& time) {
    const auto date = dates_.parse(rest_.substr(0, datePattern.size()));
    if (!date) return false;
    time = *date;
    rest_.remove_prefix(datePattern.size());
    return true;
  }

  bool take(HubHistoryPoint& point) {
    if (!take(R"({"disposedBytes":)") || !take(point.disposedBytes)) return false;
    point.dryRun = take(R"(,"dryRun":true)");
    if (!point.dryRun && !take(R"(,"dryRun":false)")) return false;
    if (!take(R"(,"failures":)") || !take(point.failures)) return false;
    if (!take(R"(,"reclaimableBytes":)") || !take(point.reclaimableBytes)) return false;
    if (!take(R"(,"time":")") || !take(point.time) || !take("\"")) return false;
    if (take(R"(,"volumeAvailableBytes":)") && !take(point.volumeAvailableBytes.emplace())) return false;
    return take("}");
  }

  std::string_view rest() const { return rest_; }

 private:
  std::string_view rest_;
  DateCache dates_;
};

struct SplitFile {
  std::string document;  // with an empty history
  std::vector<HubHistoryPoint> history;
};

std::optional<SplitFile> splitHistory(std::string_view text) {
  Scanner scanner(text);
  TimePoint firstSeen;
  if (!scanner.take(R"({"firstSeen":")") || !scanner.take(firstSeen) || !scanner.take(R"(",)")) return std::nullopt;
  if (!scanner.take(historyBegin)) return std::nullopt;
  SplitFile parts{std::string(text.substr(0, text.size() - scanner.rest().size())), {}};
  parts.history.reserve(HubHostFile::mostHistory);
  while (!scanner.rest().starts_with(']')) {
    if (!parts.history.empty() && !scanner.take(",")) return std::nullopt;
    if (!scanner.take(parts.history.emplace_back())) return std::nullopt;
  }
  // A second history would come after this one and count in its place.
  if (scanner.rest().find(R"("history")") != std::string_view::npos) return std::nullopt;
  parts.document += scanner.rest();
  return parts;
}

}  // namespace

std::string hostFileName(std::string_view host) {
  std::string name;
  for (const char c : replacingInvalidUtf8(host)) {
    constexpr unsigned continuationMask = 0xC0;
    constexpr unsigned continuation = 0x80;
    if ((static_cast<unsigned char>(c) & continuationMask) == continuation) continue;  // part of one character
    name += isKept(c) ? c : '_';
  }
  if (name.empty()) name = "_";
  // A name has at most 255 bytes, of which the temporary file that replaces a file takes 10 more than the file.
  constexpr std::size_t most = 240 - jsonExtension.size();
  if (name.size() > most) {
    const std::string hash = "_" + StableID::make(host);
    name.resize(most - hash.size());
    name += hash;
  }
  name += jsonExtension;
  return name;
}

std::string hostFileText(const HubHostFile& file) {
  const HubHostFile frame{.host = file.host,
                          .firstSeen = file.firstSeen,
                          .lastSeen = file.lastSeen,
                          .reports = file.reports,
                          .latest = file.latest,
                          .history = {},
                          .note = file.note,
                          .lastAuditRewind = file.lastAuditRewind};
  std::string document = HubJSON::compact(frame);
  // Only a date comes before it, so that this is the key and no text of somebody else's.
  const auto place = document.find(noHistory) + historyBegin.size() - 1;
  std::string text(document, 0, place);
  appendHistory(text, file.history);
  text.append(document, place + emptyArray.size());
  return text;
}

void appendHistory(std::string& text, const std::vector<HubHistoryPoint>& history) {
  constexpr std::size_t bytesOfPoint = 160;
  // Grown by doubling at least: a listing appends thousands of them.
  const std::size_t needed = text.size() + history.size() * bytesOfPoint;
  if (needed > text.capacity()) text.reserve(std::max(needed, 2 * text.capacity()));
  text += '[';
  DateCache dates;
  for (const HubHistoryPoint& point : history) {
    if (&point != history.data()) text += ',';
    appendPoint(text, point, dates);
  }
  text += ']';
}

HubHostFile parseHostFile(std::string_view text, const std::string& what) {
  auto parts = splitHistory(text);
  if (!parts) return HubJSON::decode<HubHostFile>(text, what, text.size());
  auto file = HubJSON::decode<HubHostFile>(parts->document, what, parts->document.size());
  file.history = std::move(parts->history);
  file.history.shrink_to_fit();
  return file;
}

}  // namespace tidra
