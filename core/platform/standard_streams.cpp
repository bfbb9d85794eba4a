#include "core/platform/standard_streams.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <signal.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "core/base/errors.h"
#include "core/base/whole_number.h"
#include "core/platform/file_descriptor.h"
#include "core/platform/files.h"
#include "core/platform/folder_entries.h"
#include "core/platform/path_text.h"

namespace tidra {
namespace {

std::optional<int> numberOf(std::string_view text) {
  const auto number = wholeNumber<int>(text);
  return number && *number >= 0 ? number : std::nullopt;
}

bool isFolderOfDescriptors(const std::string& realFolder) {
  return realFolder == "/dev/fd" || (realFolder.starts_with("/proc/") && realFolder.ends_with("/fd"));
}

bool isOwn(const std::string& folderOfDescriptors) {
  return !folderOfDescriptors.starts_with("/proc/") ||
         isSameOrInside(folderOfDescriptors, fmt::format("/proc/{}", ::getpid()));
}

}  // namespace

void holdClosedStandardStreams() {
  for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (::fcntl(descriptor, F_GETFD) >= 0) continue;
    // Opened in the wrong direction: reads and writes on it keep failing with EBADF.
    const int opened = ::open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    if (opened >= 0 && opened != descriptor) ::close(opened);
  }
}

Outcome<std::string> readStandardInput(std::size_t mostBytes) {
  const FileDescriptor input(::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0));
  if (!input) return lastSystemError();
  auto bytes = readToEnd(input, mostBytes);
  if (bytes && bytes->size() > mostBytes) return std::make_error_code(std::errc::file_too_large);
  return bytes;
}

void writeStandardError(std::string_view text) noexcept {
  std::fwrite(text.data(), 1, text.size(), stderr);
  std::fflush(stderr);
}

void writeFromSignalHandler(const char* text) noexcept {
  const int before = errno;
  // A failure cannot be reported. write() instead of stdio: the interrupted code may hold the stream's lock.
  [[maybe_unused]] const auto written = ::write(STDERR_FILENO, text, std::strlen(text));
  errno = before;
}

void printLine(const std::string& line) {
  std::fputs((line + "\n").c_str(), stdout);
  std::fflush(stdout);
}

std::optional<int> descriptorNamed(const std::string& path) {
  if (path == "-") return STDOUT_FILENO;
  std::string current = path;
  constexpr int mostLinks = 40;
  for (int links = 0; links < mostLinks; ++links) {
    const auto folder = realPath(current.find('/') == std::string::npos ? "." : parentPath(current));
    if (!folder) return std::nullopt;
    if (isFolderOfDescriptors(*folder)) return isOwn(*folder) ? numberOf(lastPathComponent(current)) : -1;
    const auto target = linkTarget(current);
    if (!target) return std::nullopt;
    current = target->starts_with('/') ? *target : joinedPath(*folder, *target);
  }
  return std::nullopt;
}

bool isOpenForWriting(int descriptor) {
  const int flags = ::fcntl(descriptor, F_GETFL);
  return flags >= 0 && (flags & O_ACCMODE) != O_RDONLY;
}

void endByBrokenPipe(int status) {
  struct sigaction action {};
  action.sa_handler = SIG_DFL;
  ::sigaction(SIGPIPE, &action, nullptr);
  ::raise(SIGPIPE);
  std::_Exit(status);
}

void writeToDescriptor(int descriptor, std::string_view text) {
  while (!text.empty()) {
    const auto count = ::write(descriptor, text.data(), text.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) throw std::system_error(lastSystemError(), fmt::format("descriptor {}", descriptor));
    text.remove_prefix(static_cast<std::size_t>(count));
  }
}

}  // namespace tidra
