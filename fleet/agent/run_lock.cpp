// Mutual exclusion rests on O_EXCL. A stale file is removed only when its process is gone, and only if it is still the
// same inode: otherwise the slower of two runs that find it could remove the faster one's new lock.
#include "fleet/agent/run_lock.h"

#include <fmt/format.h>

#include <chrono>
#include <optional>
#include <thread>

#include "core/base/errors.h"
#include "core/base/text.h"
#include "core/base/whole_number.h"
#include "core/platform/directory_reader.h"
#include "core/platform/open_file.h"
#include "core/platform/path_text.h"
#include "core/platform/process_presence.h"
#include "fleet/agent/state_folder.h"

namespace tidra {
namespace {

std::optional<std::int32_t> parsePid(std::string_view text) {
  text = trimmed(text);
  if (text.starts_with('+')) {
    text.remove_prefix(1);
    if (text.starts_with('-')) return std::nullopt;
  }
  return wholeNumber<std::int32_t>(text);
}

/// The content of an open lock file.
std::string contentOf(const FileDescriptor& file) {
  constexpr std::size_t more = 4096;  // longer than any process id with white space
  std::string content(more, '\0');
  const auto size = readAt(file, 0, content.data(), content.size());
  content.resize(size ? *size : 0);
  return content;
}

[[noreturn]] void failWith(std::error_code reason, const std::string& what) { throw std::system_error(reason, what); }

/// Opens an existing lock file; none when it is missing or unreadable.
FileDescriptor openPresent(const std::string& url) {
  const auto facts = pathFacts(url);
  if (!facts) return {};
  if (facts->type != EntryType::regularFile) {
    const std::string_view kind = facts->type == EntryType::directory      ? "a folder"
                                  : facts->type == EntryType::symbolicLink ? "a link"
                                                                           : "not a regular file";
    throw InputError(
        fmt::format("The lock file {} is {}; remove that or name another lock file.", escapedForTerminal(url), kind));
  }
  auto file = openFile(url, FileAccess::read);
  return file ? std::move(file->descriptor) : FileDescriptor{};
}

/// Removes a stale lock. Throws LockError when its process is alive.
void clearLeftover(const std::string& url) {
  const FileDescriptor file = openPresent(url);
  if (!file) return;
  const auto pid = parsePid(contentOf(file));
  if (!pid) return;
  if (*pid != currentProcess() && processExists(*pid)) throw RunLock::LockError(*pid, url);
  if (const auto removed = removeIfSame(url, file); !removed) {
    failWith(removed.failure(), fmt::format("The lock file {} of a run that is gone cannot be removed", url));
  }
}

/// The winner of the race for the file. It may not have written its process id yet, so wait a moment for an empty file.
std::int32_t winnerOf(const std::string& url) {
  constexpr int attempts = 50;
  for (int i = 0; i < attempts; ++i) {
    const FileDescriptor file = openPresent(url);
    const std::string content = file ? contentOf(file) : "-";
    if (!content.empty()) return parsePid(content).value_or(-1);
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return -1;
}

std::string helpFor(std::int32_t pid, const std::string& url) {
  const std::string file = escapedForTerminal(url);
  if (pid == -1) return fmt::format("{} names no process; if no run of tidra is under way, remove it.", file);
  return fmt::format(
      "If process {} is not a tidra run, as after a restart of the machine, remove {}; 'ps -p {}' shows what it is.",
      pid, file, pid);
}

}  // namespace

RunLock::LockError::LockError(std::int32_t pid, const std::string& url)
    : std::runtime_error(fmt::format("another tidra run (pid {}) holds the lock", pid)),
      pid_(pid),
      help_(helpFor(pid, url)) {}

RunLock::RunLock(std::string url) : url_(std::move(url)) {}

RunLock::~RunLock() { release(); }

void RunLock::acquire() {
  if (held_) return;
  makeStateFolder(parentPath(url_), "lock file");
  clearLeftover(url_);
  auto made = makeFile(url_);
  if (!made && made.failure() == std::errc::file_exists) throw LockError(winnerOf(url_), url_);
  if (!made) {
    throw InputError(fmt::format("The lock file {} cannot be made: {}; allow this user to, or name another lockFile.",
                                 escapedForTerminal(url_), made.failure().message()));
  }
  if (const auto failure = appendWhole(*made, fmt::format("{}\n", currentProcess()), 0)) {
    static_cast<void>(removeIfSame(url_, *made));  // best effort: the next run replaces a stale file
    failWith(failure, fmt::format("The lock file {} cannot be written", url_));
  }
  file_ = std::move(*made);
  held_ = true;
}

void RunLock::release() {
  if (!held_) return;
  static_cast<void>(removeIfSame(url_, file_));  // best effort: the next run replaces a stale file
  file_.reset();
  held_ = false;
}

}  // namespace tidra
