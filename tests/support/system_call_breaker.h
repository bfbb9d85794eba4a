// Programs that meet the end, or an error, at a chosen system call. Linux only.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace tidra {

/// What happens at one of the calls by which a program changes files: giving names, removing, making folders and files,
/// writing to anything but the standard streams, flushing. They are counted over all threads from 1.
struct SystemCallBreak {
  int call = 1;           // 0: none
  int error = 0;          // the call has no effect and gives this; 0: the program is killed instead
  bool listings = false;  // of the calls that read folders instead
  std::function<void(const std::string& name)> onCall = {};  // before each of them, while its thread waits
  std::string outputTo = "/dev/null";
};

struct BrokenRun {
  bool reached = false;  // false: the program ended before it came to that call
  int status = 0;        // of the exit; 128 + the number of a signal that ended it
  std::string call;      // its name
};

/// True where runs can be broken: the system may refuse to let one process trace another, and a program built with
/// sanitizers makes calls of theirs.
bool canBreakSystemCalls();

/// Runs a program without input. `environment` is the whole of it, as "NAME=value".
BrokenRun runBroken(const std::string& program, const std::vector<std::string>& arguments,
                    const std::vector<std::string>& environment, const SystemCallBreak& at);

}  // namespace tidra
