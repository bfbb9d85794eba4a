// A run: two pipes; spawn into a new process group; one poll loop over both pipes and the exit notice; then either exit
// status and output, or the end of the whole group on timeout. One thread reads both pipes, so that the child cannot
// block on a full one.
#include "core/platform/process_runner.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <shared_mutex>
#include <thread>

#include "core/base/byte_units.h"
#include "core/base/errors.h"
#include "core/base/text.h"
#include "core/platform/file_descriptor.h"
#include "core/platform/path_resolver.h"
#include "core/platform/pipe.h"
#include "core/platform/process_exit.h"
#include "core/platform/process_memory.h"
#include "core/platform/spawn_lock.h"

namespace tidra {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

/// Bounds reading after the exit: a grandchild or daemon may hold the pipes open.
constexpr milliseconds readersAfterExit{2000};
constexpr milliseconds politeTermination{200};
constexpr milliseconds endAfterKill{500};
constexpr milliseconds cancelPoll{25};
constexpr milliseconds pipePause{10};
constexpr int mostPipeTries = 100;
constexpr milliseconds spawnPause{10};
constexpr int mostSpawnTries = 25;
constexpr milliseconds exitPoll{5};  // there may be no exit notice

struct Pipe {
  FileDescriptor read;
  FileDescriptor write;
};

Pipe makePipe() {
  std::array<int, 2> ends{-1, -1};
  // At the descriptor limit, other threads release theirs within moments.
  for (int tries = 0; !openPipe(ends); ++tries) {
    if ((errno != EMFILE && errno != ENFILE) || tries == mostPipeTries) return {};
    std::this_thread::sleep_for(pipePause);
  }
  Pipe pipe{FileDescriptor(ends[0]), FileDescriptor(ends[1])};
  ::fcntl(pipe.read.get(), F_SETFL, O_NONBLOCK);
  return pipe;
}

/// Returns a null-terminated argv or envp; borrows the strings.
std::vector<char*> pointers(std::vector<std::string>& texts) {
  std::vector<char*> list;
  list.reserve(texts.size() + 1);
  for (std::string& text : texts) list.push_back(text.data());
  list.push_back(nullptr);
  return list;
}

/// Owns the posix_spawn settings: standard streams, working folder, process group, default signal handling.
class SpawnSettings {
 public:
  SpawnSettings(const ProcessRunner::Command& command, const Pipe& out, const Pipe& err) {
    ::posix_spawn_file_actions_init(&actions_);
    ::posix_spawnattr_init(&attributes_);
    check(::posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0));
    check(::posix_spawn_file_actions_adddup2(&actions_, out.write.get(), STDOUT_FILENO));
    check(::posix_spawn_file_actions_adddup2(&actions_, err.write.get(), STDERR_FILENO));
    if (command.currentDirectory) {
      check(::posix_spawn_file_actions_addchdir_np(&actions_, command.currentDirectory->c_str()));
    }
    short flags = POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK;
    // Our descriptors are close-on-exec; this closes those that a library opened without it.
#ifdef POSIX_SPAWN_CLOEXEC_DEFAULT
    flags |= POSIX_SPAWN_CLOEXEC_DEFAULT;
#elif defined(__GLIBC__) && __GLIBC_PREREQ(2, 34)
    check(::posix_spawn_file_actions_addclosefrom_np(&actions_, STDERR_FILENO + 1));
#endif
    sigset_t none;
    sigset_t defaults;
    sigemptyset(&none);
    sigemptyset(&defaults);
    for (const int signal : {SIGINT, SIGTERM, SIGPIPE, SIGHUP, SIGQUIT, SIGCHLD}) sigaddset(&defaults, signal);
    check(::posix_spawnattr_setflags(&attributes_, flags));
    check(::posix_spawnattr_setpgroup(&attributes_, 0));
    check(::posix_spawnattr_setsigmask(&attributes_, &none));
    check(::posix_spawnattr_setsigdefault(&attributes_, &defaults));
  }
  ~SpawnSettings() {
    ::posix_spawn_file_actions_destroy(&actions_);
    ::posix_spawnattr_destroy(&attributes_);
  }
  SpawnSettings(const SpawnSettings&) = delete;
  SpawnSettings& operator=(const SpawnSettings&) = delete;

  /// Returns the process id; nullopt when the child could not be started.
  std::optional<pid_t> spawn(const std::string& executable, char* const* arguments, char* const* environment) const {
    pid_t child = 0;
    for (int tries = 0; usable_; ++tries) {
      const int failure = spawnOnce(child, executable, arguments, environment);
      if (failure == 0) return child;
      // At the limit of processes (RLIMIT_NPROC), those of other workers end within moments.
      if (failure != EAGAIN || tries == mostSpawnTries) break;
      std::this_thread::sleep_for(spawnPause);
    }
    return std::nullopt;
  }

 private:
  int spawnOnce(pid_t& child, const std::string& executable, char* const* arguments, char* const* environment) const {
    const std::shared_lock lock(spawnLock());
    return ::posix_spawn(&child, executable.c_str(), &actions_, &attributes_, arguments, environment);
  }

  void check(int failure) { usable_ = usable_ && failure == 0; }

  posix_spawn_file_actions_t actions_{};
  posix_spawnattr_t attributes_{};
  bool usable_ = true;
};

/// Running process groups, for a signal handler; 0 where there is none. Further ones are not ended by it.
class RunningGroups {
 public:
  static void add(pid_t group) {
    for (auto& each : all) {
      pid_t none = 0;
      if (each.compare_exchange_strong(none, group)) return;
    }
  }
  /// Call before the child is reaped, since its id may be reused from then on.
  static void remove(pid_t group) {
    for (auto& each : all) {
      pid_t known = group;
      if (each.compare_exchange_strong(known, 0)) return;
    }
  }
  static void end() {
    for (const auto& each : all) {
      if (const pid_t group = each.load(); group > 0) ::kill(-group, SIGTERM);
    }
  }

 private:
  static inline std::array<std::atomic<pid_t>, 64> all{};
  static_assert(std::atomic<pid_t>::is_always_lock_free);
};

/// A running child. The destructor ends its process group and reaps it.
class Child {
 public:
  explicit Child(pid_t process) : process_(process), exitNotice_(openExitNotice(process)) {
    RunningGroups::add(process);
  }
  /// Does not wait for a child in uninterruptible sleep (a hanging file system): it stays a zombie until this program
  /// exits.
  ~Child() {
    end();
    RunningGroups::remove(process_);
    if (endsWithin(endAfterKill)) reap();
  }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  /// Checks with WNOWAIT: an unreaped child keeps its process id, which is also the group's, from being reused.
  bool hasEnded() const {
    siginfo_t info{};
    return reaped_ || (::waitid(P_PID, static_cast<id_t>(process_), &info, WEXITED | WNOHANG | WNOWAIT) == 0 &&
                       info.si_pid == process_);
  }

  const FileDescriptor& exitNotice() const { return exitNotice_; }

  /// Sends SIGTERM to the group, then SIGKILL.
  void end() {
    if (hasEnded()) return;
    ::kill(-process_, SIGTERM);
    endsWithin(politeTermination);
    ::kill(-process_, SIGKILL);
  }

  /// Waits for the exit and returns the status; 128 + signal number if a signal ended it.
  std::int32_t reap() {
    int raw = 0;
    RunningGroups::remove(process_);
    while (!reaped_ && ::waitpid(process_, &raw, 0) < 0 && errno == EINTR) {
    }
    reaped_ = true;
    return WIFEXITED(raw) ? WEXITSTATUS(raw) : 128 + WTERMSIG(raw);
  }

 private:
  bool endsWithin(milliseconds most) const {
    const auto deadline = Clock::now() + most;
    while (!hasEnded()) {
      if (Clock::now() >= deadline) return false;
      pollfd notice{exitNotice_.get(), POLLIN, 0};
      ::poll(&notice, exitNotice_ ? 1 : 0, static_cast<int>(exitPoll.count()));
    }
    return true;
  }

  pid_t process_;
  FileDescriptor exitNotice_;
  bool reaped_ = false;
};

/// Non-blocking reader that collects the output of one pipe.
class PipeReader {
 public:
  explicit PipeReader(FileDescriptor source) : source_(std::move(source)) {}

  bool isOpen() const { return static_cast<bool>(source_); }
  int descriptor() const { return source_.get(); }
  const std::string& bytes() const { return bytes_; }
  bool overflowed() const { return bytes_.size() > ProcessRunner::outputLimitBytes; }

  /// Reads what is available; closes the pipe at end of file.
  void drain() {
    std::array<char, 16_KiB> chunk;
    while (source_ && !overflowed()) {
      const auto count = ::read(source_.get(), chunk.data(), chunk.size());
      if (count > 0) {
        bytes_.append(chunk.data(), static_cast<std::size_t>(count));
      } else if (count == 0 || (errno != EINTR && errno != EAGAIN)) {
        source_.reset();
      } else if (errno == EAGAIN) {
        return;
      }
    }
  }

 private:
  FileDescriptor source_;
  std::string bytes_;
};

/// Polls the pipes and, if passed, the exit notice for at most `most`, then drains the pipes.
void waitForNews(std::array<PipeReader*, 2> readers, const FileDescriptor* exitNotice, milliseconds most) {
  std::array<pollfd, 3> watched{};
  nfds_t count = 0;
  for (const PipeReader* reader : readers) {
    if (reader->isOpen()) watched[count++] = {reader->descriptor(), POLLIN, 0};
  }
  if (exitNotice != nullptr && *exitNotice) watched[count++] = {exitNotice->get(), POLLIN, 0};
  ::poll(watched.data(), count, static_cast<int>(std::max<milliseconds::rep>(most.count(), 0)));
  for (PipeReader* reader : readers) reader->drain();
}

/// Reads the rest of the pipes, bounded by a deadline because descendants may hold them open.
void finishReading(std::array<PipeReader*, 2> readers) {
  const auto deadline = Clock::now() + readersAfterExit;
  for (;;) {
    const auto left = std::chrono::ceil<milliseconds>(deadline - Clock::now());
    const bool anyOpen = readers[0]->isOpen() || readers[1]->isOpen();
    const bool overflowed = readers[0]->overflowed() || readers[1]->overflowed();
    if (!anyOpen || overflowed || left.count() <= 0) return;
    waitForNews(readers, nullptr, left);
  }
}

enum class Ending { byItself, enough, forced };

/// forced: timeout, cancellation or output limit
Ending superviseUntilEnd(Child& child, std::array<PipeReader*, 2> readers, const ProcessRunner::Command& command) {
  constexpr double longestSeconds = 1e9;
  const auto timeout = std::chrono::duration<double>(std::clamp(command.timeoutSeconds, 0.0, longestSeconds));
  const auto deadline = Clock::now() + std::chrono::duration_cast<Clock::duration>(timeout);
  milliseconds longestWait = std::chrono::hours{1};
  if (command.shouldCancel) longestWait = cancelPoll;
  if (!child.exitNotice()) longestWait = exitPoll;
  for (;;) {
    if (child.hasEnded()) return Ending::byItself;
    if (command.isEnough && command.isEnough(readers[0]->bytes())) return Ending::enough;
    const auto left = std::chrono::ceil<milliseconds>(deadline - Clock::now());
    if (left.count() <= 0 || (command.shouldCancel && command.shouldCancel())) return Ending::forced;
    if (readers[0]->overflowed() || readers[1]->overflowed()) return Ending::forced;
    waitForNews(readers, &child.exitNotice(), std::min(left, longestWait));
  }
}

std::vector<std::string> environmentTexts(const Environment& environment) {
  std::vector<std::string> texts;
  for (const auto& [name, value] : environment) texts.push_back(fmt::format("{}={}", name, value));
  return texts;
}

/// With an inherited ignored SIGCHLD the kernel discards exit statuses.
void keepExitStatuses() {
  struct sigaction current {};
  if (::sigaction(SIGCHLD, nullptr, &current) == 0 && current.sa_handler == SIG_IGN) ::signal(SIGCHLD, SIG_DFL);
}

}  // namespace

void ProcessRunner::endRunning() { RunningGroups::end(); }

std::optional<ProcessRunner::Result> ProcessRunner::run(const Command& command) {
  keepExitStatuses();
  Pipe out = makePipe();
  Pipe err = makePipe();
  if (!out.write || !err.write || !command.executablePath.starts_with('/')) return std::nullopt;

  std::vector<std::string> arguments{command.executablePath};
  arguments.insert(arguments.end(), command.arguments.begin(), command.arguments.end());
  std::vector<std::string> environment =
      environmentTexts(command.environment ? *command.environment : processEnvironment());
  const auto started = SpawnSettings(command, out, err)
                           .spawn(command.executablePath, pointers(arguments).data(), pointers(environment).data());
  out.write.reset();
  err.write.reset();
  if (!started) return std::nullopt;

  Child child(*started);
  if (command.dataLimitBytes) limitData(*started, *command.dataLimitBytes);
  PipeReader outReader(std::move(out.read));
  PipeReader errReader(std::move(err.read));
  const std::array readers{&outReader, &errReader};
  const Ending ending = superviseUntilEnd(child, readers, command);
  if (ending != Ending::byItself) child.end();
  if (ending == Ending::forced) return std::nullopt;
  std::int32_t status = 0;
  if (ending == Ending::byItself) {
    status = child.reap();
    finishReading(readers);
  }
  if (outReader.overflowed() || errReader.overflowed()) return std::nullopt;
  return Result{status, std::string(trimmed(outReader.bytes())), std::string(trimmed(errReader.bytes()))};
}

}  // namespace tidra
