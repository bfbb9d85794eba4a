// Kills a program, or injects an error, at a chosen system call (ptrace). Linux only.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace tidra {

/// What happens at one of the calls that change files: rename and link, remove, create, write except to the standard
/// streams, flush. They are counted over all threads from 1.
struct SystemCallBreak {
  int call = 1;                    // 0: none
  int error = 0;                   // the errno that replaces the call; 0: the program is killed instead
  std::string listingsBelow = {};  // not empty: count calls that read folders below this one instead
  std::function<void(const std::string& name)> onCall = {};  // called before each of them, while its thread is stopped
  std::string outputTo = "/dev/null";
};

struct BrokenRun {
  bool reached = false;  // false: the program ended before that call
  int status = 0;        // exit status, or 128 + the signal's number
  std::string call;      // the call's name
};

/// True where tracing works: the system may forbid it, and sanitizers make calls of their own.
bool canBreakSystemCalls();

/// Runs a program without input. `environment` is complete, as "NAME=value".
BrokenRun runBroken(const std::string& program, const std::vector<std::string>& arguments,
                    const std::vector<std::string>& environment, const SystemCallBreak& at);

}  // namespace tidra
