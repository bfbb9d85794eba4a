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
#include "core/platform/platform.h"
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

/// Times as iso8601 writes them, without its general care: every point has one, and only those of the years 0 to 9999,
/// which all texts have, reach a history.
class DateText {
 public:
  /// Until the next call.
  std::string_view of(TimePoint time) {
    const auto day = std::chrono::floor<std::chrono::days>(time);
    if (day != day_) {  // neighbours mostly lie on one day
      const std::chrono::year_month_day date{day};
      const int year = static_cast<int>(date.year());
      put(0, year / 100 % 100);
      put(2, year % 100);
      put(5, static_cast<int>(static_cast<unsigned>(date.month())));
      put(8, static_cast<int>(static_cast<unsigned>(date.day())));
      day_ = day;
    }
    const auto second = static_cast<int>((time - day).count());
    put(11, second / 3600);
    put(14, second / 60 % 60);
    put(17, second % 60);
    return {text_.data(), text_.size()};
  }

  /// None for any other text.
  static std::optional<TimePoint> parse(std::string_view text) {
    if (text.size() != datePattern.size()) return std::nullopt;
    for (const std::size_t at : {4U, 7U, 10U, 13U, 16U, 19U}) {
      if (text[at] != datePattern[at]) return std::nullopt;
    }
    using namespace std::chrono;
    const auto century = pair(text, 0), years = pair(text, 2), months = pair(text, 5), dayOfMonth = pair(text, 8);
    const auto hour = pair(text, 11), minute = pair(text, 14), second = pair(text, 17);
    if (century == none || years == none || hour > 23 || minute > 59 || second > 59) return std::nullopt;
    const year_month_day date{year{century * 100 + years}, month{static_cast<unsigned>(months)},
                              day{static_cast<unsigned>(dayOfMonth)}};
    if (!date.ok()) return std::nullopt;
    return sys_days{date} + hours{hour} + minutes{minute} + seconds{second};
  }

 private:
  static constexpr int none = 100;

  void put(std::size_t at, int number) {
    text_[at] = static_cast<char>('0' + number / 10);
    text_[at + 1] = static_cast<char>('0' + number % 10);
  }

  static int pair(std::string_view text, std::size_t at) {
    const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
    return isDigit(text[at]) && isDigit(text[at + 1]) ? (text[at] - '0') * 10 + (text[at + 1] - '0') : none;
  }

  std::chrono::sys_days day_{};
  std::array<char, datePattern.size()> text_{'1', '9', '7', '0', '-', '0', '1', '-', '0', '1',
                                             'T', '0', '0', ':', '0', '0', ':', '0', '0', 'Z'};
};

/// Puts a point together in one place, since a thousand of them follow each report.
class PointWriter {
 public:
  void append(std::string& text, const HubHistoryPoint& point) {
    end_ = line_.data();
    put(R"({"disposedBytes":)", point.disposedBytes);
    if (point.dryRun) {
      put(R"(,"dryRun":true)");
    } else {
      put(R"(,"dryRun":false)");
    }
    put(R"(,"failures":)", point.failures);
    put(R"(,"reclaimableBytes":)", point.reclaimableBytes);
    put(R"(,"time":")");
    put(dates_.of(point.time));
    put("\"");
    if (point.volumeAvailableBytes) put(R"(,"volumeAvailableBytes":)", *point.volumeAvailableBytes);
    put("}");
    text.append(line_.data(), end_);
  }

 private:
  void put(std::string_view part) { end_ = std::copy(part.begin(), part.end(), end_); }
  /// Of a known length, which is copied without a call.
  template <std::size_t size>
  void put(const char (&part)[size]) {
    end_ = std::copy(part, part + size - 1, end_);
  }
  template <std::size_t size>
  void put(const char (&key)[size], std::int64_t number) {
    put(key);
    end_ = std::to_chars(end_, line_.data() + line_.size(), number).ptr;
  }

  std::array<char, 256> line_;  // the longest point has 199
  char* end_ = nullptr;
  DateText dates_;
};

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
    const auto date = DateText::parse(rest_.substr(0, datePattern.size()));
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

std::string hostFileKey(const std::string& fileName) {
  return currentPlatform == TidraPlatform::macOS ? asciiLowered(fileName) : fileName;
}

std::string hostFileText(const HubHostFile& file) {
  std::string text;
  writeHostFileText(file, text);
  return text;
}

void writeHostFileText(const HubHostFile& file, std::string& text) {
  const HubHostFile frame{.host = file.host,
                          .firstSeen = file.firstSeen,
                          .lastSeen = file.lastSeen,
                          .reports = file.reports,
                          .latest = file.latest,
                          .history = {},
                          .note = file.note,
                          .lastAuditRewind = file.lastAuditRewind};
  const std::string document = HubJSON::compact(frame);
  // Only a date comes before it, so that this is the key and no text of somebody else's.
  const auto place = document.find(noHistory) + historyBegin.size() - 1;
  text.assign(document, 0, place);
  appendHistory(text, file.history);
  text.append(document, place + emptyArray.size());
}

void appendHistory(std::string& text, const std::vector<HubHistoryPoint>& history) {
  constexpr std::size_t bytesOfPoint = 160;
  // Grown by doubling at least: a listing appends thousands of them.
  const std::size_t needed = text.size() + history.size() * bytesOfPoint;
  if (needed > text.capacity()) text.reserve(std::max(needed, 2 * text.capacity()));
  text += '[';
  PointWriter writer;
  for (const HubHistoryPoint& point : history) {
    if (&point != history.data()) text += ',';
    writer.append(text, point);
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
