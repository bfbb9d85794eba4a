// The file under the audit log: opening it with sentences for people, and reading it line by line.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "core/platform/directory_reader.h"
#include "core/platform/file_descriptor.h"
#include "core/platform/open_file.h"

namespace tidra {

struct AuditFile {
  FileDescriptor descriptor;
  EntryFacts facts;  // when it was opened

  /// None when it is missing. Throws InputError for anything but a regular file, and when it must not be opened; to
  /// write, also for a file that others than its user may change.
  static std::optional<AuditFile> open(const std::string& url, FileAccess access);

  /// As open to append; makes the file when it is missing. Throws InputError too when that does not work.
  static AuditFile openOrMake(const std::string& url);
};

/// "The audit log PATH", for the beginning of a sentence.
std::string auditLogNamed(const std::string& url);

/// Reads lines forwards with constant memory. Empty lines are passed over.
class AuditLineReader {
 public:
  /// Longer lines are told, but not kept.
  static constexpr std::size_t mostLineBytes = 1024 * 1024;

  struct Line {
    std::string_view text;     // without its line feed; valid until the next call; empty when it is too long
    std::uint64_t offset = 0;  // of its first byte in the file
    std::uint64_t number = 0;  // from 1, empty lines counted; only right when reading began at the start
    bool ended = true;         // false: the file ends without a line feed
    bool tooLong = false;
  };

  /// Begins at an offset. The descriptor must stay open.
  explicit AuditLineReader(const FileDescriptor& file, std::uint64_t offset = 0);

  /// False at the end of the file. Throws std::system_error when it cannot be read.
  bool next(Line& line);

  /// Where the next line begins.
  std::uint64_t offset() const { return offset_; }

 private:
  bool take(Line& line);
  bool fill();

  const FileDescriptor& file_;
  std::unique_ptr<char[]> buffer_;
  std::size_t begin_ = 0;      // of what is buffered and not yet given
  std::size_t end_ = 0;        // of what is buffered
  std::uint64_t offset_ = 0;   // in the file, of begin_
  std::uint64_t skipped_ = 0;  // bytes of the present line that were dropped because it is too long
  std::uint64_t number_ = 0;
  bool atEnd_ = false;
};

/// "line 12 (byte 3456)".
std::string placeOf(const AuditLineReader::Line& line);

}  // namespace tidra
