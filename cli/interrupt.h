// Ctrl-C and SIGTERM: the running command ends promptly and still shows what it has. SIGHUP: it reads its files again.
#pragma once

#include <stdexcept>

namespace tidra {

/// The command was interrupted and ends without having changed anything; what() says so to a person.
class Interrupted : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// From now on SIGINT and SIGTERM end the program at once with the status of an interruption, except where an
/// InterruptGuard is alive. A signal that whoever started the program has it ignore stays ignored. Call once, early.
void handleInterrupts();

/// While alive, the first SIGINT or SIGTERM raises a flag instead of ending the program, and a second one ends it at
/// once. The flag is never lowered, so that no phase of a command can miss a signal that came in the one before. A
/// command has one guard for its whole life.
class InterruptGuard {
 public:
  InterruptGuard();
  ~InterruptGuard();
  InterruptGuard(const InterruptGuard&) = delete;
  InterruptGuard& operator=(const InterruptGuard&) = delete;

  /// True after a signal. From any thread.
  static bool requested();

  /// Throws Interrupted with this sentence after a signal.
  static void requireNone(const char* sentence);
};

/// A wait that nobody polls and that changes nothing, such as a question, or output into a pipe that nobody reads:
/// while alive, the first signal ends the program at once too. A flag that is raised already makes no difference.
class BlockingWait {
 public:
  /// `lastWords` go to standard error at such an end; a literal.
  explicit BlockingWait(const char* lastWords = "");
  ~BlockingWait();
  BlockingWait(const BlockingWait&) = delete;
  BlockingWait& operator=(const BlockingWait&) = delete;

 private:
  bool formerly_;
};

/// While alive, SIGHUP asks for what is configured in files to be read again instead of ending the program. One at a
/// time.
class HangupGuard {
 public:
  HangupGuard();
  ~HangupGuard();
  HangupGuard(const HangupGuard&) = delete;
  HangupGuard& operator=(const HangupGuard&) = delete;

  /// True when there was a signal since it was last asked.
  bool takeRequest();
};

/// From here on output that nobody reads any more does not end the program: what works unattended goes on without.
void ignoreBrokenPipes();

}  // namespace tidra
