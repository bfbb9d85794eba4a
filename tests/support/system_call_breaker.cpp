#include "tests/support/system_call_breaker.h"

#ifdef __linux__

#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <system_error>

namespace tidra {
namespace {

using TraceRequest = decltype(PTRACE_TRACEME);

long trace(TraceRequest request, pid_t thread, unsigned long address, void* data) {
  return ::ptrace(request, thread, address, data);
}

constexpr int lastStandardStream = 2;

std::optional<std::string> nameOfChange(const __ptrace_syscall_info& info) {
  const auto& call = info.seccomp;
  switch (call.nr) {
    case SYS_renameat2:
      return "renameat2";
    case SYS_unlinkat:
      return "unlinkat";
    case SYS_mkdirat:
      return "mkdirat";
    case SYS_fsync:
      return "fsync";
    case SYS_linkat:
      return "linkat";
    case SYS_symlinkat:
      return "symlinkat";
    case SYS_openat:
      return (call.args[2] & O_CREAT) != 0 ? std::optional("openat") : std::nullopt;
    case SYS_write:
      return call.args[0] > lastStandardStream ? std::optional("write") : std::nullopt;
    default:
      return std::nullopt;
  }
}

std::optional<std::string> nameOfListing(const __ptrace_syscall_info& info, pid_t thread, const std::string& below) {
  if (info.seccomp.nr != SYS_getdents64) return std::nullopt;
  std::error_code failure;
  const auto folder = std::filesystem::read_symlink(
      "/proc/" + std::to_string(thread) + "/fd/" + std::to_string(info.seccomp.args[0]), failure);
  return folder.string().starts_with(below) ? std::optional("getdents64") : std::nullopt;
}

#ifdef __x86_64__
/// Before a system call: skips it, with this result.
void replaceBy(pid_t thread, long result) {
  trace(PTRACE_POKEUSER, thread, offsetof(user, regs.orig_rax), reinterpret_cast<void*>(-1));
  trace(PTRACE_POKEUSER, thread, offsetof(user, regs.rax), reinterpret_cast<void*>(result));
}
#else
void replaceBy(pid_t, long) {}
#endif

/// The filter's offset of the lower half of an argument.
constexpr std::uint32_t argument(int index) {
  return offsetof(seccomp_data, args) + static_cast<std::uint32_t>(index) * sizeof(std::uint64_t);
}

/// A filter that stops for the tracer at the calls that may count: stopping at every call makes a run some hundred
/// times as long.
std::vector<sock_filter> filterOfCountedCalls() {
  constexpr std::uint16_t load = BPF_LD | BPF_W | BPF_ABS, test = BPF_JMP | BPF_K;
  constexpr sock_filter stop BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_TRACE);
  constexpr sock_filter goOn BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW);
  std::vector<sock_filter> filter{BPF_STMT(load, offsetof(seccomp_data, nr))};
  // The numbers in a jump count the instructions to skip when the test holds, and when it does not.
  for (const std::uint32_t call :
       {SYS_renameat2, SYS_unlinkat, SYS_mkdirat, SYS_fsync, SYS_linkat, SYS_symlinkat, SYS_getdents64}) {
    filter.insert(filter.end(), {BPF_JUMP(test | BPF_JEQ, call, 0, 1), stop});
  }
  filter.insert(filter.end(), {BPF_JUMP(test | BPF_JEQ, SYS_openat, 0, 4), BPF_STMT(load, argument(2)),
                               BPF_JUMP(test | BPF_JSET, O_CREAT, 0, 1), stop, goOn});
  filter.insert(filter.end(), {BPF_JUMP(test | BPF_JEQ, SYS_write, 0, 3), BPF_STMT(load, argument(0)),
                               BPF_JUMP(test | BPF_JGT, lastStandardStream, 0, 1), stop, goOn});
  return filter;
}

/// Applies it to this process.
bool applyFilter(std::vector<sock_filter> filter) {
  const sock_fprog program{.len = static_cast<std::uint16_t>(filter.size()), .filter = filter.data()};
  return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 && ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

pid_t startTraced(const std::string& program, const std::vector<std::string>& arguments,
                  const std::vector<std::string>& environment, const std::string& outputTo) {
  std::vector<const char*> texts{program.c_str()};
  for (const auto& argument : arguments) texts.push_back(argument.c_str());
  texts.push_back(nullptr);
  std::vector<const char*> variables;
  for (const auto& variable : environment) variables.push_back(variable.c_str());
  variables.push_back(nullptr);
  const pid_t child = ::fork();
  if (child != 0) return child;
  const int nowhere = ::open(outputTo.c_str(), O_RDWR | O_CREAT | O_TRUNC, 0600);
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) ::dup2(nowhere, stream);
  if (trace(PTRACE_TRACEME, 0, 0, nullptr) != 0) ::_exit(127);
  ::raise(SIGSTOP);
  if (!applyFilter(filterOfCountedCalls())) ::_exit(127);
  ::execve(program.c_str(), const_cast<char* const*>(texts.data()), const_cast<char* const*>(variables.data()));
  ::_exit(127);
}

/// Traces a stopped program and its threads to their end. Programs that it runs are traced as well, since their calls
/// stop them, but not counted.
class Tracer {
 public:
  Tracer(pid_t child, const SystemCallBreak& at) : child_(child), at_(at) {}
  ~Tracer() {
    for (const pid_t other : others_) {
      ::kill(other, SIGKILL);
      ::waitpid(other, nullptr, __WALL);
    }
  }
  Tracer(const Tracer&) = delete;
  Tracer& operator=(const Tracer&) = delete;

  BrokenRun run() {
    const auto options =
        PTRACE_O_TRACESECCOMP | PTRACE_O_TRACECLONE | PTRACE_O_TRACEFORK | PTRACE_O_TRACEVFORK | PTRACE_O_EXITKILL;
    trace(PTRACE_SETOPTIONS, child_, 0, reinterpret_cast<void*>(static_cast<long>(options)));
    goOn(child_, 0);
    for (;;) {
      int status = 0;
      const pid_t thread = ::waitpid(-1, &status, __WALL);
      if (thread < 0) throw std::system_error(errno, std::generic_category(), "waitpid");
      if (WIFSTOPPED(status)) {
        stopped(thread, status);
      } else if (thread == child_) {
        run_.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        return run_;
      } else {
        others_.erase(thread);
      }
    }
  }

 private:
  static void goOn(pid_t thread, int signal) {
    trace(PTRACE_CONT, thread, 0, reinterpret_cast<void*>(static_cast<long>(signal)));
  }

  void stopped(pid_t thread, int status) {
    const int signal = WSTOPSIG(status);
    const int event = status >> 16;
    const bool isOther = others_.contains(thread);
    const bool isNewProcess = event == PTRACE_EVENT_FORK || event == PTRACE_EVENT_VFORK;
    if (isNewProcess || (isOther && event == PTRACE_EVENT_CLONE)) addOther(thread);
    if (event == PTRACE_EVENT_SECCOMP && !isOther) atSystemCall(thread);
    // New threads start with a stop; the tracer's signals must not reach the program.
    goOn(thread, signal == SIGTRAP || signal == SIGSTOP ? 0 : signal);
  }

  void addOther(pid_t parent) {
    unsigned long made = 0;
    if (trace(PTRACE_GETEVENTMSG, parent, 0, &made) == 0) others_.insert(static_cast<pid_t>(made));
  }

  void atSystemCall(pid_t thread) {
    __ptrace_syscall_info info{};
    if (trace(static_cast<TraceRequest>(PTRACE_GET_SYSCALL_INFO), thread, sizeof info, &info) <= 0) return;
    const auto name = at_.listingsBelow.empty() ? nameOfChange(info) : nameOfListing(info, thread, at_.listingsBelow);
    if (name && at_.onCall) at_.onCall(*name);
    if (!name || ++count_ != at_.call) return;
    run_.reached = true;
    run_.call = *name;
    if (at_.error == 0) {
      ::kill(child_, SIGKILL);
    } else {
      replaceBy(thread, -at_.error);
    }
  }

  pid_t child_;
  SystemCallBreak at_;
  BrokenRun run_;
  std::set<pid_t> others_;  // that the program runs, and their threads
  int count_ = 0;
};

}  // namespace

BrokenRun runBroken(const std::string& program, const std::vector<std::string>& arguments,
                    const std::vector<std::string>& environment, const SystemCallBreak& at) {
  const pid_t child = startTraced(program, arguments, environment, at.outputTo);
  int status = 0;
  if (child < 0 || ::waitpid(child, &status, 0) != child || !WIFSTOPPED(status))
    throw std::system_error(errno, std::generic_category(), "tracing " + program);
  return Tracer(child, at).run();
}

// Sanitizers make system calls of their own, indistinguishable from the program's.
bool canBreakSystemCalls() {
#if defined(__x86_64__) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
  try {
    return runBroken("/bin/true", {}, {}, {}).status == 0;
  } catch (const std::system_error&) {
    return false;
  }
#else
  return false;
#endif
}

}  // namespace tidra

#else

namespace tidra {
bool canBreakSystemCalls() { return false; }
BrokenRun runBroken(const std::string&, const std::vector<std::string>&, const std::vector<std::string>&,
                    const SystemCallBreak&) {
  return {};
}
}  // namespace tidra

#endif
