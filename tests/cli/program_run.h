// Runs the built program as a process: exit status and both output streams.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "core/platform/path_resolver.h"

namespace tidra {

struct ProgramRun {
  int status = 0;  // exit status, or 128 + the signal's number
  std::string out;
  std::string err;
};

inline std::ostream& operator<<(std::ostream& out, const ProgramRun& run) {
  return out << "status " << run.status << '\n' << run.out << run.err;
}

struct ProgramOptions {
  Environment environment = {};  // the complete environment
  std::string folder = "/";
  bool outIsTerminal = false;  // of 80 columns, in raw mode
  bool errIsTerminal = false;
  std::optional<std::string> typed = {};         // input typed at a terminal; absent: no input
  std::function<void(pid_t)> onFirstError = {};  // on the first bytes of standard error
  std::string awaited = {};                      // what standard output holds before `onOutput` is called
  std::function<void(pid_t)> onOutput = {};      // called once, with the first bytes or with what is awaited

  struct Moment {
    std::chrono::microseconds after{};  // since the start
    std::function<void(pid_t)> act;     // called once, unless both streams are closed by then
  };
  std::optional<Moment> moment = {};
};

/// Runs the program to its end, or kills it after a minute.
ProgramRun runProgram(const std::vector<std::string>& arguments, const ProgramOptions& options);

}  // namespace tidra
