// The info files of a trash: their text, and what it says.
#include <fmt/chrono.h>
#include <fmt/format.h>

#include <ctime>

#include "core/base/text.h"
#include "core/dispose/freedesktop_trash.h"
#include "core/platform/path_text.h"

namespace tidra {
namespace {

constexpr std::string_view pathKey = "Path=";
constexpr std::string_view dateKey = "DeletionDate=";

/// Formats "2026-03-14T10:15:00" in local time.
std::string localDate(TimePoint date) {
  return fmt::format("{:%Y-%m-%dT%H:%M:%S}", fmt::localtime(std::chrono::system_clock::to_time_t(date)));
}

std::optional<std::string_view> valueOf(std::string_view text, std::string_view key) {
  for (const std::string_view line : splitNonEmpty(text, '\n')) {
    if (line.starts_with(key)) return trimmed(line.substr(key.size()));
  }
  return std::nullopt;
}

std::optional<unsigned> hexDigit(char c) {
  if (isAsciiDigit(c)) return c - '0';
  const char lower = static_cast<char>(c | 0x20);
  if (lower >= 'a' && lower <= 'f') return lower - 'a' + 10;
  return std::nullopt;
}

}  // namespace

std::string FreedesktopTrash::infoText(std::string_view originalPath, TimePoint date) {
  return fmt::format("[Trash Info]\n{}{}\n{}{}\n", pathKey, encodedPath(originalPath), dateKey, localDate(date));
}

std::string FreedesktopTrash::encodedPath(std::string_view path) {
  constexpr std::string_view plain = "/-_.~!$&'()*+,;=:@";
  std::string encoded;
  for (const char c : path) {
    if (isAsciiAlphanumeric(c) || plain.find(c) != std::string_view::npos) {
      encoded += c;
    } else {
      encoded += fmt::format("%{:02X}", static_cast<unsigned char>(c));
    }
  }
  return encoded;
}

std::optional<std::string> FreedesktopTrash::pathOf(std::string_view infoText) {
  const auto encoded = valueOf(infoText, pathKey);
  if (!encoded) return std::nullopt;
  std::string path;
  for (std::size_t i = 0; i < encoded->size(); ++i) {
    const char c = (*encoded)[i];
    if (c == '%' && i + 2 < encoded->size()) {
      const auto high = hexDigit((*encoded)[i + 1]);
      const auto low = hexDigit((*encoded)[i + 2]);
      if (high && low) {
        path += static_cast<char>(*high * 16 + *low);
        i += 2;
        continue;
      }
    }
    path += c;
  }
  return path;
}

std::optional<TimePoint> FreedesktopTrash::dateOf(std::string_view infoText) {
  const auto text = valueOf(infoText, dateKey);
  if (!text) return std::nullopt;
  // Parse as UTC first: mktime() accepts invalid dates.
  const auto asUtc = fromIso8601(std::string(text->substr(0, text->find('.'))) + "Z");
  if (!asUtc) return std::nullopt;
  const auto day = std::chrono::floor<std::chrono::days>(*asUtc);
  const std::chrono::year_month_day date{day};
  const std::chrono::hh_mm_ss time{*asUtc - day};
  std::tm local{};
  local.tm_year = static_cast<int>(date.year()) - 1900;
  local.tm_mon = static_cast<int>(static_cast<unsigned>(date.month())) - 1;
  local.tm_mday = static_cast<int>(static_cast<unsigned>(date.day()));
  local.tm_hour = static_cast<int>(time.hours().count());
  local.tm_min = static_cast<int>(time.minutes().count());
  local.tm_sec = static_cast<int>(time.seconds().count());
  local.tm_isdst = -1;
  return timePointAt(std::mktime(&local));
}

std::optional<std::string> FreedesktopTrash::placeIn(std::string_view infoText, std::string_view trashFolder) {
  auto path = pathOf(infoText);
  if (!path || path->starts_with('/')) return path;
  // In the trash of a volume, other programs write paths relative to the volume's top.
  if (!lastPathComponent(trashFolder).starts_with(".Trash-")) return std::nullopt;
  return joinedPath(parentPath(trashFolder), *path);
}

}  // namespace tidra
