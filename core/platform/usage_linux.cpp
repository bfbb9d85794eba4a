// Reads /proc, cheap sources first: "exe", "cwd", "root" and the beginning of "cmdline" of each process; "locks",
// whose inodes are matched with the descriptors of the lock's holder; all descriptors; all "maps". The last two may
// have millions of entries: bounded per process and in total, highest process ids first, and by count, not time, so
// that load does not change the result.
#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <climits>
#include <map>
#include <mutex>
#include <set>
#include <utility>
#include <vector>

#include "core/base/byte_units.h"
#include "core/base/text.h"
#include "core/platform/directory_reader.h"
#include "core/platform/file_descriptor.h"
#include "core/platform/files.h"
#include "core/platform/mount_aliases.h"
#include "core/platform/mount_table.h"
#include "core/platform/path_text.h"
#include "core/platform/pipeline_linux.h"
#include "core/platform/process_files_linux.h"
#include "core/platform/spawn_lock.h"
#include "core/platform/usage.h"

namespace tidra {
namespace {

/// Returns the numeric entries of a folder of /proc.
std::vector<std::int64_t> numberedEntries(const std::string& folder) {
  std::vector<std::int64_t> numbers;
  const auto opened = openDirectory(folder);
  if (!opened) return numbers;
  DirectoryReader reader;
  reader.start(opened->get());
  for (DirectoryEntry entry; reader.next(entry);) {
    if (const auto value = ProcessFiles::number(entry.name)) numbers.push_back(*value);
  }
  return numbers;
}

/// The fourth field of "stat"; the second, in parentheses, may contain anything, so parse from the last ")".
std::int64_t parentOf(std::int64_t process) {
  const auto stat = readFile(fmt::format("/proc/{}/stat", process));
  if (!stat) return 0;
  const auto bracket = stat->rfind(')');
  if (bracket == std::string::npos) return 0;
  const auto fields = splitNonEmpty(std::string_view(*stat).substr(bracket + 1), ' ');
  return fields.size() > 1 ? ProcessFiles::number(fields[1]).value_or(0) : 0;
}

std::optional<std::string> processLink(std::int64_t process, std::string_view name) {
  return linkTarget(fmt::format("/proc/{}/{}", process, name));
}

std::set<std::int64_t> selfAndAncestors() {
  std::set<std::int64_t> line;
  for (std::int64_t process = ::getpid(); process > 1 && line.insert(process).second;) process = parentOf(process);
  return line;
}

std::string programName(std::int64_t process) {
  const auto name = readFile(fmt::format("/proc/{}/comm", process));
  return name ? std::string(trimmed(*name)) : "unknown";
}

constexpr std::string_view deletedMark = " (deleted)";

/// Restores the path of a file that was removed or replaced while in use.
std::string withoutDeletedMark(std::string path) {
  if (path.ends_with(deletedMark) && !pathFacts(path)) path.resize(path.size() - deletedMark.size());
  return path;
}

std::vector<std::int64_t> runningProcesses() {
  const std::unique_lock lock(spawnLock());
  return numberedEntries("/proc");
}

/// Collects one snapshot.
class UsageCollector {
 public:
  UsageSnapshot collect() {
    addProgram(self_);  // else a build folder would go with the program that removes it
    std::erase_if(processes_, [&](auto process) { return process == self_ || isOwnGit(process); });
    for (const auto process : processes_) addPlaces(process);
    addLocks();
    for (auto process = processes_.rbegin(); process != processes_.rend(); ++process) {
      if (!ours_.contains(*process)) addOpenFiles(*process);
    }
    for (auto process = processes_.rbegin(); process != processes_.rend(); ++process) {
      addMappedFiles(*process);
    }
    return std::move(snapshot_);
  }

 private:
  static constexpr std::size_t mostDescriptors = 200'000;
  static constexpr std::size_t mostDescriptorsOfOne = 10'000;
  static constexpr std::size_t mostMapBytes = 64_MiB;  // about 600,000 mappings
  static constexpr std::size_t mostMapBytesOfOne = 1_MiB;
  static constexpr std::size_t mostArguments = 64;
  static constexpr std::size_t mostNamespaces = 256;
  static constexpr std::size_t mostMountBytes = 1_MiB;
  static constexpr std::size_t mostPossiblePaths = 256;  // per process

  /// Whether a run of this program, this one or another, has started it.
  static bool isOwnGit(std::int64_t process) {
    return programName(process) == "git" && processLink(parentOf(process), "exe") == processLink(::getpid(), "exe");
  }

  void addProgram(std::int64_t process) {
    const auto program = processLink(process, "exe");
    if (!program) return;
    const UseKind kind = ours_.contains(process) ? UseKind::starter : UseKind::program;
    for (std::string& place : placesOf(process, *program)) {
      addPlace(kind, process, withoutDeletedMark(std::move(place)));
    }
  }

  void addPlaces(std::int64_t process) {
    addProgram(process);
    if (ours_.contains(process)) return addStarterFiles(process, "");
    const auto folder = processLink(process, "cwd");
    const bool isPiped = pipeline_.contains(process);
    if (isPiped) addStarterFiles(process, folder.value_or(""));
    if (!isPiped) addArguments(process, folder.value_or(""));
    if (folder) {
      addPresent(isPiped               ? UseKind::pipelineFolder
                 : isAtPrompt(process) ? UseKind::promptFolder
                                       : UseKind::workingFolder,
                 process, *folder);
    }
    if (const auto root = processLink(process, "root"); root && *root != "/") {
      addPresent(UseKind::rootFolder, process, *root);
    }
  }

  /// Whether it is a shell that reads commands from a terminal.
  static bool isAtPrompt(std::int64_t process) {
    constexpr std::array<std::string_view, 8> shells{"bash", "zsh", "fish", "sh", "dash", "ksh", "tcsh", "nu"};
    if (std::find(shells.begin(), shells.end(), programName(process)) == shells.end()) return false;
    const auto input = processLink(process, "fd/0").value_or("");
    if (!input.starts_with("/dev/pts/") && !input.starts_with("/dev/tty")) return false;
    auto arguments = ProcessFiles::firstArguments(process, mostArguments);
    if (!arguments.empty()) arguments.erase(arguments.begin());
    std::erase(arguments, "");
    return std::all_of(arguments.begin(), arguments.end(), [](const std::string& argument) {
      const bool isShort = argument.starts_with('-') && !argument.starts_with("--");
      return isShort ? argument.find('c') == std::string::npos : argument.starts_with("--");
    });
  }

  /// `workingFolder` may be empty: relative arguments do not count.
  void addStarterFiles(std::int64_t process, const std::string& workingFolder) {
    constexpr std::size_t enough = 2;  // an interpreter and its script
    for (std::string& argument : ProcessFiles::firstArguments(process, enough)) {
      if (!argument.starts_with('/') && !workingFolder.empty()) argument = joinedPath(workingFolder, argument);
      if (!argument.starts_with('/')) continue;
      for (std::string& place : placesOf(process, standardizedPath(argument))) {
        const auto facts = pathFacts(place);
        if (facts && facts->type != EntryType::directory) addPlace(UseKind::starter, process, std::move(place));
      }
    }
  }

  void addArguments(std::int64_t process, const std::string& workingFolder) {
    // Links of a process that was confined by chroot() lead from the true root, its arguments from its own.
    const std::string root = processLink(process, "root").value_or("/");
    std::size_t left = mostPossiblePaths;
    for (const std::string& argument : ProcessFiles::firstArguments(process, mostArguments)) {
      for (const std::string_view text : ProcessFiles::possiblePaths(argument)) {
        if (left == 0) return;
        const bool hasFolder = text.find('/') != std::string_view::npos;
        if (text.empty() || (!hasFolder && text.starts_with('-'))) continue;
        if (!text.starts_with('/') && workingFolder.empty()) continue;
        --left;
        const bool isAbsolute = text.starts_with('/');
        const std::string path = ProcessFiles::asSeenBy(
            process, joinedPath(isAbsolute ? root : workingFolder, isAbsolute ? text.substr(1) : text));
        addArgument(process, path);
        for (std::string& alias : aliasesOf(process).of(standardizedPath(path))) addArgument(process, std::move(alias));
      }
    }
  }

  /// Other users' processes could name any path. They count nevertheless: of a service, an ordinary user sees nothing
  /// but the arguments.
  void addArgument(std::int64_t process, std::string path) {
    auto real = realPath(path);
    if (!real) return;
    while (path.size() > 1 && path.ends_with('/')) path.pop_back();
    // A link may point out of its folder, as "python" in a virtual environment does: record the link as well.
    const std::string_view name = lastPathComponent(path);
    if (const auto folder = realPath(folderOfFile(path)); folder && name != "." && name != "..") {
      if (auto link = joinedPath(*folder, name); link != *real) addPlace(UseKind::argument, process, std::move(link));
    }
    addPlace(UseKind::argument, process, std::move(*real));
  }

  void addLocks() {
    const std::set<std::int64_t> alive(processes_.begin(), processes_.end());
    std::set<std::int64_t> inherited;
    for (const auto& [process, inode] : ProcessFiles::heldLocks()) {
      if (ours_.contains(process)) continue;
      if (alive.contains(process)) {
        addLockedFiles(process, {inode});
      } else {
        inherited.insert(inode);
      }
    }
    // A lock outlives the process that took it while a child holds the inherited descriptor.
    for (const auto process : processes_) {
      if (!inherited.empty() && !ours_.contains(process)) addLockedFiles(process, inherited);
    }
  }

  void addLockedFiles(std::int64_t process, const std::set<std::int64_t>& inodes) {
    const std::string folder = fmt::format("/proc/{}/fd", process);
    for (const auto descriptor : numberedEntries(folder)) {
      const std::string link = fmt::format("{}/{}", folder, descriptor);
      const auto facts = followedFacts(link);
      if (!facts || !inodes.contains(static_cast<std::int64_t>(facts->identity.inode))) continue;
      if (const auto path = linkTarget(link)) addPresent(UseKind::lockedFile, process, *path);
    }
  }

  void addOpenFiles(std::int64_t process) {
    const auto folder = openDirectory(fmt::format("/proc/{}/fd", process));
    if (!folder) return;
    DirectoryReader reader;
    reader.start(folder->get());
    std::array<char, PATH_MAX> target;
    const std::size_t most = std::min(descriptors_ + mostDescriptorsOfOne, mostDescriptors);
    for (DirectoryEntry entry; descriptors_ < most && reader.next(entry); ++descriptors_) {
      const auto length = ::readlinkat(folder->get(), entry.name.data(), target.data(), target.size());
      if (length > 0) addOpened(process, {target.data(), static_cast<std::size_t>(length)});
    }
  }

  void addOpened(std::int64_t process, std::string_view target) {
    constexpr std::string_view socket = "socket:[";
    if (!target.starts_with(socket)) return addPresent(UseKind::openFile, process, std::string(target));
    target.remove_prefix(socket.size());
    const auto bound = sockets_.find(target.substr(0, target.size() - 1));
    if (bound == sockets_.end() || !pathExists(bound->second)) return;
    addPresent(UseKind::boundSocket, process, bound->second);
  }

  void addMappedFiles(std::int64_t process) {
    const FileDescriptor file(::open(fmt::format("/proc/{}/maps", process).c_str(), O_RDONLY | O_CLOEXEC));
    constexpr std::size_t chunk = 64_KiB;
    std::string text;
    std::string last;  // consecutive mappings are mostly of the same file
    const std::size_t most = std::min(mapBytes_ + mostMapBytesOfOne, mostMapBytes);
    for (std::size_t filled = 0; file && mapBytes_ < most;) {
      text.resize(filled + chunk);
      const auto length = ::read(file.get(), text.data() + filled, chunk);
      if (length <= 0) return;
      mapBytes_ += static_cast<std::size_t>(length);
      text.resize(filled + static_cast<std::size_t>(length));
      std::size_t start = 0;
      for (auto end = text.find('\n'); end != std::string::npos; end = text.find('\n', start)) {
        std::string path = ProcessFiles::mappedPath(std::string_view(text).substr(start, end - start));
        start = end + 1;
        if (path.empty() || path == last) continue;
        addPresent(UseKind::mappedFile, process, path);
        last = std::move(path);
      }
      text.erase(0, start);
      filled = text.size();
    }
  }

  /// Skips deleted files that live on only through descriptors: removal does not affect them.
  void addPresent(UseKind kind, std::int64_t process, const std::string& path) {
    if (!path.starts_with('/')) return;
    for (std::string& place : placesOf(process, path)) {
      if (!place.ends_with(deletedMark) || pathExists(place)) addPlace(kind, process, std::move(place));
    }
  }

  void addPlace(UseKind kind, std::int64_t process, std::string place) {
    if (named_ != process) name_ = programName(process);
    named_ = process;
    snapshot_.add({kind, process, name_, std::move(place)});
  }

  /// Returns the path as that process's namespace has it, and all its paths in ours.
  std::vector<std::string> placesOf(std::int64_t process, const std::string& path) {
    std::vector<std::string> places = aliasesOf(process).of(path);
    places.push_back(path);
    return places;
  }

  const MountAliases& aliasesOf(std::int64_t process) {
    if (aliased_ == process) return *aliases_;
    aliased_ = process;
    const auto space = processLink(process, "ns/mnt");
    const auto root = processLink(process, "root");
    aliases_ = &ownAliases_;
    if (!space || space == ownSpace_ || !root) return *aliases_;
    const auto [known, isNew] = foreignAliases_.try_emplace(*space + *root);
    if (isNew && foreignAliases_.size() <= mostNamespaces)
      known->second = MountAliases(mountsOf(process, *root), mounts_);
    aliases_ = &known->second;
    return *aliases_;
  }

  /// The table is relative to the root folder of the process; links of /proc are not.
  static std::vector<MountPoint> mountsOf(std::int64_t process, const std::string& root) {
    const auto text = readFile(fmt::format("/proc/{}/mountinfo", process), mostMountBytes);
    auto mounts = text ? parseMountInfo(*text) : std::vector<MountPoint>{};
    for (MountPoint& mount : mounts) mount.path = standardizedPath(root + mount.path);
    return mounts;
  }

  UsageSnapshot snapshot_;
  const std::int64_t self_ = ::getpid();
  const std::set<std::int64_t> ours_ = selfAndAncestors();  // this process and its ancestors
  std::vector<std::int64_t> processes_ = runningProcesses();
  const std::set<std::int64_t> pipeline_ = pipelineOf(ours_, processes_);
  const std::map<std::string, std::string, std::less<>> sockets_ = ProcessFiles::boundSockets();
  const std::vector<MountPoint> mounts_ = mountPoints();
  const MountAliases ownAliases_{mounts_, mounts_};
  const std::optional<std::string> ownSpace_ = processLink(self_, "ns/mnt");
  std::map<std::string, MountAliases> foreignAliases_;  // by namespace and root folder
  std::int64_t aliased_ = 0;                            // the process of `aliases_`
  const MountAliases* aliases_ = &ownAliases_;
  std::size_t descriptors_ = 0;
  std::size_t mapBytes_ = 0;
  std::int64_t named_ = 0;  // the process of `name_`
  std::string name_;
};

}  // namespace

UsageSnapshot UsageSnapshot::take() { return UsageCollector().collect(); }

}  // namespace tidra
