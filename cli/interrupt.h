// Ctrl-C and SIGTERM: the running command ends promptly and still shows what it has. SIGHUP: it reads its files again.
#pragma once

namespace tidra {

/// While alive, SIGINT and SIGTERM raise a flag instead of ending the program. A second signal ends it at once. A
/// signal that whoever started the program has it ignore stays ignored. One at a time.
class InterruptGuard {
 public:
  InterruptGuard();
  ~InterruptGuard();
  InterruptGuard(const InterruptGuard&) = delete;
  InterruptGuard& operator=(const InterruptGuard&) = delete;

  /// True after a signal. From any thread.
  static bool requested();
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
