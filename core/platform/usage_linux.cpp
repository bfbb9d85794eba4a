// From /proc: the "cwd" link of each process, and "locks", which names the inode of each locked file; the path is then
// found among the descriptors of the process that holds the lock.
#include <fmt/format.h>
#include <unistd.h>

#include <array>
#include <charconv>
#include <climits>
#include <set>

#include "core/base/text.h"
#include "core/platform/directory_reader.h"
#include "core/platform/files.h"
#include "core/platform/usage.h"

namespace tidra {
namespace {

std::optional<std::int64_t> number(std::string_view text) {
  std::int64_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc{} && end == text.data() + text.size() ? std::optional(value) : std::nullopt;
}

std::optional<std::string> linkTarget(const std::string& path) {
  std::array<char, PATH_MAX> target;
  const auto length = ::readlink(path.c_str(), target.data(), target.size());
  if (length <= 0) return std::nullopt;
  return std::string(target.data(), static_cast<std::size_t>(length));
}

/// The numbers among the entries of a folder of /proc.
std::vector<std::int64_t> numberedEntries(const std::string& folder) {
  std::vector<std::int64_t> numbers;
  const auto opened = openDirectory(folder);
  if (!opened) return numbers;
  DirectoryReader reader;
  reader.start(opened->get());
  for (DirectoryEntry entry; reader.next(entry);) {
    if (const auto value = number(entry.name)) numbers.push_back(*value);
  }
  return numbers;
}

/// The fourth field of "stat"; the second, in brackets, may hold anything.
std::int64_t parentOf(std::int64_t process) {
  const auto stat = readFile(fmt::format("/proc/{}/stat", process));
  if (!stat) return 0;
  const auto bracket = stat->rfind(')');
  if (bracket == std::string::npos) return 0;
  const auto fields = splitNonEmpty(std::string_view(*stat).substr(bracket + 1), ' ');
  return fields.size() > 1 ? number(fields[1]).value_or(0) : 0;
}

std::set<std::int64_t> ownLine() {
  std::set<std::int64_t> line;
  for (std::int64_t process = ::getpid(); process > 1 && line.insert(process).second;) process = parentOf(process);
  return line;
}

std::string programName(std::int64_t process) {
  const auto name = readFile(fmt::format("/proc/{}/comm", process));
  return name ? std::string(trimmed(*name)) : "unknown";
}

/// "1: FLOCK  ADVISORY  WRITE 4711 fd:01:262150 0 EOF": process and inode. A lock that belongs to an open file and not
/// to a process has -1. Processes that wait for a lock stand behind "->".
std::set<std::pair<std::int64_t, std::int64_t>> heldLocks() {
  std::set<std::pair<std::int64_t, std::int64_t>> locks;
  const auto text = readFile("/proc/locks");
  if (!text) return locks;
  for (const std::string_view line : splitNonEmpty(*text, '\n')) {
    const auto fields = splitNonEmpty(line, ' ');
    constexpr std::size_t processField = 4;
    constexpr std::size_t fileField = 5;
    if (fields.size() <= fileField || fields[1] == "->") continue;
    const auto process = number(fields[processField]);
    const auto file = split(fields[fileField], ':');
    const auto inode = file.size() == 3 ? number(file[2]) : std::nullopt;
    if (process && inode) locks.emplace(*process, *inode);
  }
  return locks;
}

void addLockedFiles(std::int64_t process, const std::set<std::int64_t>& inodes, std::vector<PlaceUse>& uses) {
  const std::string folder = fmt::format("/proc/{}/fd", process);
  for (const auto descriptor : numberedEntries(folder)) {
    const std::string link = fmt::format("{}/{}", folder, descriptor);
    const auto facts = followedFacts(link);
    if (!facts || !inodes.contains(static_cast<std::int64_t>(facts->identity.inode))) continue;
    if (auto path = linkTarget(link)) uses.push_back({process, programName(process), std::move(*path)});
  }
}

}  // namespace

UsageSnapshot UsageSnapshot::take() {
  UsageSnapshot snapshot;
  const auto ours = ownLine();
  const auto processes = numberedEntries("/proc");
  for (const auto process : processes) {
    if (ours.contains(process)) continue;
    auto folder = linkTarget(fmt::format("/proc/{}/cwd", process));
    if (folder) snapshot.workingFolders.push_back({process, programName(process), std::move(*folder)});
  }
  const std::set<std::int64_t> alive(processes.begin(), processes.end());
  std::set<std::int64_t> inherited;
  for (const auto& [process, inode] : heldLocks()) {
    if (ours.contains(process)) continue;
    if (alive.contains(process)) {
      addLockedFiles(process, {inode}, snapshot.lockedFiles);
    } else {
      inherited.insert(inode);
    }
  }
  // A lock outlives the process that took it where others have inherited the open file.
  for (const auto process : processes) {
    if (!inherited.empty() && !ours.contains(process)) addLockedFiles(process, inherited, snapshot.lockedFiles);
  }
  return snapshot;
}

}  // namespace tidra
