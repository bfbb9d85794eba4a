// Signals. Ctrl-C, SIGTERM and SIGHUP end the running command promptly with partial results; in a service with files to
// reload, SIGHUP does that instead.
#pragma once

#include <stdexcept>

namespace tidra {

/// The command was interrupted before it changed anything; what() is a sentence for people.
class Interrupted : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Installs handlers: SIGINT, SIGTERM and SIGHUP end the program at once with the status of an interruption, unless an
/// InterruptGuard is alive. Ignored signals stay ignored. Call once, early.
void handleInterrupts();

/// The exit status of an interrupted command: 129 if SIGHUP came first, else 130. Async-signal-safe.
int interruptedStatus() noexcept;

/// While alive, the first of these signals sets a flag and a further SIGINT or SIGTERM ends the program. The flag is
/// never cleared, so that no phase of a command misses an earlier signal. A command holds one guard for its whole life.
class [[nodiscard]] InterruptGuard {
 public:
  InterruptGuard();
  ~InterruptGuard();
  InterruptGuard(const InterruptGuard&) = delete;
  InterruptGuard& operator=(const InterruptGuard&) = delete;

  /// True after a signal. Thread-safe.
  static bool requested();

  /// Ends the command as a signal would, such as when nobody reads its output any more.
  static void request();

  /// Throws Interrupted with this sentence after a signal.
  static void requireNone(const char* sentence);
};

/// Marks a wait that cannot poll and changes nothing, such as a prompt or output into a blocked pipe: while alive, the
/// first signal ends the program at once. A flag already set has no effect.
class [[nodiscard]] BlockingWait {
 public:
  /// `lastWords`, a literal, is written to standard error in that case.
  explicit BlockingWait(const char* lastWords = "");
  ~BlockingWait();
  BlockingWait(const BlockingWait&) = delete;
  BlockingWait& operator=(const BlockingWait&) = delete;

 private:
  bool formerly_;
};

/// While alive, SIGHUP requests a reload of configuration files instead of ending the program. One instance at a time.
class [[nodiscard]] HangupGuard {
 public:
  HangupGuard();
  ~HangupGuard();
  HangupGuard(const HangupGuard&) = delete;
  HangupGuard& operator=(const HangupGuard&) = delete;

  /// True when a signal arrived since the last call.
  bool takeRequest();
};

/// Ignores SIGPIPE: unattended work continues when its output is closed.
void ignoreBrokenPipes();

}  // namespace tidra
