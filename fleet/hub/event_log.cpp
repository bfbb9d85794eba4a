#include "fleet/hub/event_log.h"

#include <fmt/format.h>

#include <algorithm>
#include <cassert>
#include <optional>
#include <string_view>

#include "core/base/byte_units.h"
#include "core/base/text.h"
#include "core/platform/files.h"
#include "core/platform/open_file.h"
#include "core/platform/path_text.h"
#include "fleet/hub/protocol/hub_json.h"

namespace tidra {
namespace {

[[noreturn]] void fail(std::error_code reason, const std::string& path) {
  throw std::system_error(reason, fmt::format("{} cannot be written", path));
}

OpenFile openOrMake(const std::string& path) {
  auto file = openFile(path, FileAccess::append);
  if (!file && file.failure() == std::errc::no_such_file_or_directory) {
    if (const auto made = makeFile(path); !made && made.failure() != std::errc::file_exists) fail(made.failure(), path);
    file = openFile(path, FileAccess::append);
  }
  if (!file) fail(file.failure(), path);
  return std::move(*file);
}

/// False also when unreadable: an extra line feed makes an empty line, which readers skip.
bool endsWithLineFeed(const std::string& path, std::uint64_t size) {
  const auto file = openFile(path, FileAccess::read);
  assert(size > 0);
  char last = 0;
  const auto got = file ? readAt(file->descriptor, size - 1, &last, 1) : Outcome<std::size_t>(file.failure());
  return got && *got == 1 && last == '\n';
}

/// The tail of a file with at least `count` complete non-empty lines, within the search limit.
std::string tailOf(const OpenFile& file, std::size_t count) {
  constexpr std::uint64_t chunk = 256_KiB;
  constexpr std::uint64_t most = 64_MiB;
  std::vector<std::string> chunks;  // last chunk first
  std::size_t lines = 0;
  std::uint64_t begin = file.facts.sizeBytes;
  const std::uint64_t limit = begin > most ? begin - most : 0;
  bool atLineEnd = true;  // only line feeds so far before the next line
  while (begin > limit && lines <= count) {
    const std::uint64_t size = std::min(chunk, begin - limit);
    begin -= size;
    std::string bytes(size, '\0');
    const auto got = readAt(file.descriptor, begin, bytes.data(), bytes.size());
    if (!got || *got != size) break;
    for (auto byte = bytes.rbegin(); byte != bytes.rend(); ++byte) {
      if (*byte == '\n') {
        atLineEnd = true;
      } else if (atLineEnd) {
        ++lines;
        atLineEnd = false;
      }
    }
    chunks.push_back(std::move(bytes));
  }
  std::string tail;
  for (auto bytes = chunks.rbegin(); bytes != chunks.rend(); ++bytes) tail += *bytes;
  return tail;
}

std::optional<HubEvent> parseEvent(std::string_view line) {
  try {
    return HubJSON::decode<HubEvent>(line, "event");
  } catch (const DecodingError&) {
    return std::nullopt;
  }
}

}  // namespace

std::string EventLog::line(const HubEvent& event) { return HubJSON::compact(event) + '\n'; }

EventLog::EventLog(std::string path) : path_(std::move(path)) {}

void EventLog::append(const HubEvent& event, Durability durability) {
  const OpenFile file = openOrMake(path_);
  const std::uint64_t size = file.facts.sizeBytes;
  const bool isKnown = file.facts.identity == identity_ && size == size_;
  std::string text = size == 0 || isKnown || endsWithLineFeed(path_, size) ? "" : "\n";
  text += line(event);
  if (const auto failure = appendWhole(file.descriptor, text, size)) fail(failure, path_);
  identity_ = file.facts.identity;
  size_ = size + text.size();
  if (size == 0) flushFolder(parentPath(path_));
  if (durability == Durability::process) return;
  if (const auto failure = flushFile(file.descriptor)) fail(failure, path_);
}

std::vector<HubEvent> EventLog::recent(std::size_t count) const {
  const auto file = openFile(path_, FileAccess::read);
  if (!file || count == 0) return {};
  // The tail starts with one extra line unless the file is shorter: its first line may be cut.
  const std::string tail = tailOf(*file, count);
  const auto lines = splitNonEmpty(tail, '\n');
  std::vector<HubEvent> events;
  for (std::size_t i = lines.size() > count ? lines.size() - count : 0; i < lines.size(); ++i) {
    if (auto event = parseEvent(lines[i])) events.push_back(std::move(*event));
  }
  return events;
}

}  // namespace tidra
