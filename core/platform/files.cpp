#include "core/platform/files.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <array>
#include <cstdlib>
#include <memory>

#include "core/platform/file_descriptor.h"
#include "core/platform/path_text.h"

namespace tidra {
namespace {

/// Removes a temporary file unless the work with it succeeded.
class TemporaryFile {
 public:
  TemporaryFile(std::string path, unsigned mode)
      : path_(std::move(path)), file_(::mkstemp(path_.data())), failed_(!file_) {
    if (failed_) throw std::system_error(lastSystemError(), path_);
    if (::fchmod(file_.get(), mode) != 0) throw std::system_error(lastSystemError(), path_);
  }
  ~TemporaryFile() {
    if (!kept_ && !failed_) ::unlink(path_.c_str());
  }

  void write(std::string_view bytes) {
    while (!bytes.empty()) {
      const auto count = ::write(file_.get(), bytes.data(), bytes.size());
      if (count < 0 && errno == EINTR) continue;
      if (count < 0) throw std::system_error(lastSystemError(), path_);
      bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    if (::fsync(file_.get()) != 0) throw std::system_error(lastSystemError(), path_);
  }

  void renameTo(const std::string& target) {
    if (::rename(path_.c_str(), target.c_str()) != 0) throw std::system_error(lastSystemError(), target);
    kept_ = true;
  }

 private:
  std::string path_;
  FileDescriptor file_;
  bool failed_;
  bool kept_ = false;
};

void flushFolder(const std::string& folder) {
  FileDescriptor opened(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  // A file system that cannot flush a folder says EINVAL; the rename itself has succeeded.
  if (!opened || (::fsync(opened.get()) != 0 && errno != EINVAL)) throw std::system_error(lastSystemError(), folder);
}

}  // namespace

Outcome<std::string> readFile(const std::string& path) {
  FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!file) return lastSystemError();
  std::string bytes;
  constexpr std::size_t chunk = 64 * 1024;
  for (;;) {
    const std::size_t size = bytes.size();
    bytes.resize(size + chunk);
    const auto count = ::read(file.get(), bytes.data() + size, chunk);
    if (count < 0 && errno != EINTR) return lastSystemError();
    bytes.resize(size + static_cast<std::size_t>(count > 0 ? count : 0));
    if (count == 0) return bytes;
  }
}

void replaceFile(const std::string& path, std::string_view bytes, unsigned mode) {
  const std::string folder = path.find('/') == std::string::npos ? "." : parentPath(path);
  TemporaryFile temporary(joinedPath(folder, "." + std::string(lastPathComponent(path)) + ".XXXXXX"), mode);
  temporary.write(bytes);
  temporary.renameTo(path);
  flushFolder(folder);
}

bool isExecutableFile(const std::string& path) {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) && ::access(path.c_str(), X_OK) == 0;
}

Outcome<std::string> realPath(const std::string& path) {
  const std::unique_ptr<char, decltype(&std::free)> resolved(::realpath(path.c_str(), nullptr), &std::free);
  if (!resolved) return lastSystemError();
  return std::string(resolved.get());
}

}  // namespace tidra
