// The built program as a process: its exit status and every byte of its two streams.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "core/platform/path_resolver.h"

namespace tidra {

struct ProgramRun {
  int status = 0;  // of the exit; 128 + the number of a signal that ended it
  std::string out;
  std::string err;
};

struct ProgramOptions {
  Environment environment;  // the whole of it
  std::string folder = "/";
  bool outIsTerminal = false;  // of 80 columns, passing bytes on as they are
  bool errIsTerminal = false;
  std::optional<std::string> typed = {};  // standard input is a terminal at which this is typed; absent: no input
  std::function<void(pid_t)> onFirstError = {};   // when the first bytes arrive on standard error
  std::function<void(pid_t)> onFirstOutput = {};  // the same on standard output

  struct Moment {
    std::chrono::microseconds after{};  // the start
    std::function<void(pid_t)> act;     // once, unless both streams are closed by then
  };
  std::optional<Moment> moment = {};
};

/// Runs the program to its end; one that has not ended after a minute is killed.
ProgramRun runProgram(const std::vector<std::string>& arguments, const ProgramOptions& options);

}  // namespace tidra
