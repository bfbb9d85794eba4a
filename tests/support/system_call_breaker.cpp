#include "tests/support/system_call_breaker.h"

#ifdef __linux__

#include <fcntl.h>
#include <signal.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <system_error>

namespace tidra {
namespace {

using TraceRequest = decltype(PTRACE_TRACEME);

long trace(TraceRequest request, pid_t thread, unsigned long address, void* data) {
  return ::ptrace(request, thread, address, data);
}

std::optional<std::string> nameOfChange(const __ptrace_syscall_info& info) {
  constexpr int lastStandardStream = 2;
  const auto& call = info.entry;
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
  if (info.entry.nr != SYS_getdents64) return std::nullopt;
  std::error_code failure;
  const auto folder = std::filesystem::read_symlink(
      "/proc/" + std::to_string(thread) + "/fd/" + std::to_string(info.entry.args[0]), failure);
  return folder.string().starts_with(below) ? std::optional("getdents64") : std::nullopt;
}

#ifdef __x86_64__
/// At syscall entry: replaces the call by a nonexistent one.
void suppress(pid_t thread) {
  trace(PTRACE_POKEUSER, thread, offsetof(user, regs.orig_rax), reinterpret_cast<void*>(-1));
}

/// At syscall exit: sets the result.
void setResult(pid_t thread, long result) {
  trace(PTRACE_POKEUSER, thread, offsetof(user, regs.rax), reinterpret_cast<void*>(result));
}
#else
void suppress(pid_t) {}
void setResult(pid_t, long) {}
#endif

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
  ::execve(program.c_str(), const_cast<char* const*>(texts.data()), const_cast<char* const*>(variables.data()));
  ::_exit(127);
}

/// Traces a stopped program and its threads to their end.
class Tracer {
 public:
  Tracer(pid_t child, const SystemCallBreak& at) : child_(child), at_(at) {}

  BrokenRun run() {
    const auto options = PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACECLONE | PTRACE_O_EXITKILL;
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
      }
    }
  }

 private:
  static void goOn(pid_t thread, int signal) {
    trace(PTRACE_SYSCALL, thread, 0, reinterpret_cast<void*>(static_cast<long>(signal)));
  }

  void stopped(pid_t thread, int status) {
    const int signal = WSTOPSIG(status);
    if (signal == (SIGTRAP | 0x80)) {
      atSystemCall(thread);
      goOn(thread, 0);
    } else {
      // New threads start with a stop; the tracer's signals must not reach the program.
      goOn(thread, signal == SIGTRAP || signal == SIGSTOP ? 0 : signal);
    }
  }

  void atSystemCall(pid_t thread) {
    __ptrace_syscall_info info{};
    if (trace(static_cast<TraceRequest>(PTRACE_GET_SYSCALL_INFO), thread, sizeof info, &info) <= 0) return;
    if (info.op == PTRACE_SYSCALL_INFO_EXIT && failing_ == thread) {
      setResult(thread, -at_.error);
      failing_ = 0;
    }
    if (info.op != PTRACE_SYSCALL_INFO_ENTRY) return;
    const auto name = at_.listingsBelow.empty() ? nameOfChange(info) : nameOfListing(info, thread, at_.listingsBelow);
    if (name && at_.onCall) at_.onCall(*name);
    if (!name || ++count_ != at_.call) return;
    run_.reached = true;
    run_.call = *name;
    if (at_.error == 0) {
      ::kill(child_, SIGKILL);
    } else {
      suppress(thread);
      failing_ = thread;
    }
  }

  pid_t child_;
  SystemCallBreak at_;
  BrokenRun run_;
  int count_ = 0;
  pid_t failing_ = 0;
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
