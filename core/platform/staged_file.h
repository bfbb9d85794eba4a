// A temporary file that atomically replaces a target: readers and crashes see the old or the new file, whole.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

#include "core/platform/file_descriptor.h"

namespace tidra {

/// Call write(), flush() and put() in this order; without put() the file is removed again. Everything throws
/// std::system_error that names the target.
class StagedFile {
 public:
  /// How much longer than the target's its name is: ".NAME.0123abcd".
  static constexpr std::size_t extraNameBytes = 10;

  /// Creates it beside `target` with a random name. Without a mode the umask decides.
  StagedFile(const std::string& target, std::optional<unsigned> mode);

  /// Uses a name unique to this process. Removes a stale file of a former process with the same id, or a planted link.
  static StagedFile named(std::string path, const std::string& target, unsigned mode);

  StagedFile(StagedFile&& other) noexcept;
  StagedFile& operator=(StagedFile&&) = delete;
  ~StagedFile();

  void write(std::string_view bytes);
  void flush();

  /// Renames it over the target atomically. The caller fsyncs the folder.
  void put();

 private:
  StagedFile(std::string path, const std::string& target) : path_(std::move(path)), target_(target) {}
  bool create(std::optional<unsigned> mode);
  void prepare(std::optional<unsigned> mode);
  [[noreturn]] void fail(std::error_code reason);

  std::string path_;
  std::string target_;
  FileDescriptor file_;  // empty after put() or a move
};

}  // namespace tidra
