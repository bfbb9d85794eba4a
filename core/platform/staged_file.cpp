#include "core/platform/staged_file.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>

#include <cassert>
#include <random>
#include <utility>

#include "core/platform/open_file.h"
#include "core/platform/path_text.h"

namespace tidra {

StagedFile::StagedFile(const std::string& target, std::optional<unsigned> mode) : target_(target) {
  const std::string folder = folderOfFile(target);
  thread_local std::random_device random;  // opening the device costs more than reading from it
  do {
    path_ = joinedPath(folder, fmt::format(".{}.{:08x}", lastPathComponent(target), random()));
  } while (!create(mode) && errno == EEXIST);
  prepare(mode);
}

StagedFile StagedFile::named(std::string path, const std::string& target, unsigned mode) {
  StagedFile file(std::move(path), target);
  if (!file.create(mode) && errno == EEXIST && ::unlink(file.path_.c_str()) == 0) file.create(mode);
  file.prepare(mode);
  return file;
}

StagedFile::StagedFile(StagedFile&& other) noexcept
    : path_(std::move(other.path_)), target_(std::move(other.target_)), file_(std::move(other.file_)) {}

StagedFile::~StagedFile() {
  if (file_) ::unlink(path_.c_str());
}

void StagedFile::write(std::string_view bytes) {
  assert(file_);
  if (const auto reason = writeAll(file_, bytes)) fail(reason);
}

void StagedFile::flush() {
  assert(file_);
  if (const auto reason = flushFile(file_)) fail(reason);
}

void StagedFile::put() {
  assert(file_);
  if (::rename(path_.c_str(), target_.c_str()) != 0) fail(lastSystemError());
  file_.reset();
}

bool StagedFile::create(std::optional<unsigned> mode) {
  const int open = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
  file_ = FileDescriptor(::open(path_.c_str(), open, mode ? 0600 : 0666));
  return bool(file_);
}

void StagedFile::prepare(std::optional<unsigned> mode) {
  if (!file_ || (mode && ::fchmod(file_.get(), *mode) != 0)) fail(lastSystemError());
}

/// Unlinks here, because the destructor does not run when the constructor throws.
void StagedFile::fail(std::error_code reason) {
  if (file_) ::unlink(path_.c_str());
  file_.reset();
  throw std::system_error(reason, fmt::format("{} cannot be written", target_));
}

}  // namespace tidra
