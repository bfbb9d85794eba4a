// A whole file that is written beside the place that it is to take, so that a reader or a crash meets the old file or
// the new one.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <system_error>

#include "core/platform/file_descriptor.h"

namespace tidra {

/// To be written, flushed and put in its place, in this order; without the last it is removed again. Everything throws
/// std::system_error whose what() names the place.
class StagedFile {
 public:
  /// Beside `target`, with a random name. Without a mode the process's own mask decides.
  StagedFile(const std::string& target, std::optional<unsigned> mode);

  /// With a name that is this process's own: a file or link in its place was left by a process with the same id, or
  /// planted.
  static StagedFile named(std::string path, const std::string& target, unsigned mode);

  StagedFile(StagedFile&& other) noexcept;
  StagedFile& operator=(StagedFile&&) = delete;
  ~StagedFile();

  void write(std::string_view bytes);
  void flush();

  /// Renames it over what is at its place, whose folder is still to be flushed.
  void put();

 private:
  StagedFile(std::string path, const std::string& target) : path_(std::move(path)), target_(target) {}
  bool create(std::optional<unsigned> mode);
  void prepare(std::optional<unsigned> mode);
  [[noreturn]] void fail(std::error_code reason);

  std::string path_;
  std::string target_;
  FileDescriptor file_;  // none once it has been put or moved from
};

}  // namespace tidra
