#include "fleet/agent/audit_file.h"

#include <fmt/format.h>

#include <cstring>

#include "core/base/byte_units.h"
#include "core/base/errors.h"
#include "core/base/text.h"
#include "core/platform/held_folder.h"
#include "core/platform/path_text.h"
#include "fleet/agent/state_folder.h"

namespace tidra {
namespace {

constexpr std::size_t chunkBytes = 256_KiB;

/// Throws InputError with the reason why a file could not be opened.
[[noreturn]] void failOpening(const std::string& url, FileAccess access, std::error_code reason) {
  const std::string log = auditLogNamed(url);
  if (const auto facts = pathFacts(url)) {
    if (facts->type == EntryType::directory) throw InputError(log + " is a folder; name a file.");
    if (facts->type == EntryType::symbolicLink) throw InputError(log + " is a link; name the file itself.");
    if (facts->type == EntryType::other) throw InputError(log + " is not a regular file; name one.");
  }
  throw InputError(fmt::format("{} cannot be {}: {}; allow this user to, or name another file.", log,
                               access == FileAccess::read ? "read" : "written", reason.message()));
}

/// A log that other users can change proves nothing.
void requireOwn(const std::string& url, const EntryFacts& facts) {
  constexpr std::uint32_t writableByOthers = 022;
  if (facts.owner != 0 && facts.owner != runningUser()) {
    throw InputError(fmt::format("{} belongs to another user; 'chown {} {}' makes it this user's.", auditLogNamed(url),
                                 runningUser(), escapedForTerminal(url)));
  }
  if ((facts.permissions & writableByOthers) != 0) {
    throw InputError(
        fmt::format("Other users may change the audit log {0}; 'chmod go-w {0}' ends that.", escapedForTerminal(url)));
  }
}

}  // namespace

std::string auditLogNamed(const std::string& url) { return "The audit log " + escapedForTerminal(url); }

std::optional<AuditFile> AuditFile::open(const std::string& url, FileAccess access) {
  auto file = openFile(url, access);
  if (!file && file.failure() == std::errc::no_such_file_or_directory) return std::nullopt;
  if (!file) failOpening(url, access, file.failure());
  if (access != FileAccess::read) requireOwn(url, file->facts);
  return AuditFile{std::move(file->descriptor), file->facts};
}

AuditFile AuditFile::openOrMake(const std::string& url) {
  if (auto present = open(url, FileAccess::append)) return std::move(*present);
  requireOwnLinks(parentPath(url), "audit log");  // another user may have put a symlink there
  auto made = makeFile(url);
  if (!made) failOpening(url, FileAccess::append, made.failure());
  const auto facts = descriptorFacts(made->get());
  if (!facts) failOpening(url, FileAccess::append, facts.failure());
  return {std::move(*made), *facts};
}

AuditLineReader::AuditLineReader(const FileDescriptor& file, std::uint64_t offset)
    : file_(file), buffer_(std::make_unique_for_overwrite<char[]>(mostLineBytes + 2 * chunkBytes)), offset_(offset) {}

bool AuditLineReader::next(Line& line) {
  while (true) {
    if (take(line)) {
      if (line.text.empty() && !line.tooLong) continue;
      return true;
    }
    if (atEnd_) return false;
    if (end_ - begin_ > mostLineBytes || skipped_ > 0) {
      const bool isNew = skipped_ == 0;
      skipped_ += end_ - begin_;
      begin_ = end_;
      if (isNew) {
        line = {.text = {}, .offset = offset_, .number = ++number_, .tooLong = true};
        return true;
      }
    }
    atEnd_ = !fill();
  }
}

/// Takes the next line of the buffer; at the end of the file also one without line feed. Empty for the rest of a line
/// that was returned as too long.
bool AuditLineReader::take(Line& line) {
  const char* start = buffer_.get() + begin_;
  const std::size_t size = end_ - begin_;
  const auto* lineFeed = size == 0 ? nullptr : static_cast<const char*>(std::memchr(start, '\n', size));
  if (lineFeed == nullptr && !(atEnd_ && size + skipped_ > 0)) return false;
  const std::size_t length = lineFeed == nullptr ? size : static_cast<std::size_t>(lineFeed - start);
  const std::size_t taken = length + (lineFeed != nullptr ? 1 : 0);
  line = {};
  if (skipped_ == 0) {
    line = {.text = {start, length},
            .offset = offset_,
            .number = ++number_,
            .ended = lineFeed != nullptr,
            .tooLong = length > mostLineBytes};
  }
  offset_ += skipped_ + taken;
  begin_ += taken;
  skipped_ = 0;
  if (line.tooLong) line.text = {};
  return true;
}

/// Moves the unread rest to the front of the buffer and reads the next chunk behind it. False at the end of the file.
bool AuditLineReader::fill() {
  const std::size_t kept = end_ - begin_;
  std::memmove(buffer_.get(), buffer_.get() + begin_, kept);
  begin_ = 0;
  end_ = kept;
  const auto got = readAt(file_, offset_ + skipped_ + kept, buffer_.get() + kept, chunkBytes);
  if (!got) throw std::system_error(got.failure());
  end_ += *got;
  return *got > 0;
}

std::string placeOf(const AuditLineReader::Line& line) {
  return fmt::format("line {} (byte {})", line.number, line.offset);
}

}  // namespace tidra
