// The audit log's file: opens it with readable errors, and reads it line by line.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "core/base/byte_units.h"
#include "core/platform/directory_reader.h"
#include "core/platform/file_descriptor.h"
#include "core/platform/open_file.h"

namespace tidra {

struct AuditFile {
  FileDescriptor descriptor;
  EntryFacts facts;  // at open

  /// None when missing. Throws InputError when it is not a regular file or cannot be opened, and for appending also
  /// when other users can change it.
  static std::optional<AuditFile> open(const std::string& url, FileAccess access);

  /// Opens for appending; creates a missing file. Throws InputError, also when it cannot be created.
  static AuditFile openOrMake(const std::string& url);
};

/// "The audit log PATH", for the beginning of a sentence.
std::string auditLogNamed(const std::string& url);

/// Reads lines forwards in constant memory. Skips empty lines.
class AuditLineReader {
 public:
  /// Longer lines are returned as soon as they are longer, without their text: a sparse file of terabytes must not be
  /// read whole before somebody can say so. Reading on skips the rest of the line.
  static constexpr std::size_t mostLineBytes = 1_MiB;

  struct Line {
    std::string_view text;     // without line feed; valid until the next call; empty if too long
    std::uint64_t offset = 0;  // of its first byte in the file
    std::uint64_t number = 0;  // from 1, empty lines counted; only valid when reading started at 0
    bool ended = true;         // false: the file ends without a line feed; unknown if too long
    bool tooLong = false;
  };

  /// Starts at an offset. The descriptor must stay open.
  explicit AuditLineReader(const FileDescriptor& file, std::uint64_t offset = 0);

  /// False at the end of the file. Throws std::system_error on a read error.
  [[nodiscard]] bool next(Line& line);

  /// The offset of the next line.
  std::uint64_t offset() const { return offset_; }

 private:
  bool take(Line& line);
  bool fill();

  const FileDescriptor& file_;
  std::unique_ptr<char[]> buffer_;
  std::size_t begin_ = 0;      // of the unread part of the buffer
  std::size_t end_ = 0;        // of the buffered bytes
  std::uint64_t offset_ = 0;   // in the file, of begin_
  std::uint64_t skipped_ = 0;  // dropped bytes of the current line, which was returned as too long
  std::uint64_t number_ = 0;
  bool atEnd_ = false;
};

/// "line 12 (byte 3456)".
std::string placeOf(const AuditLineReader::Line& line);

}  // namespace tidra
