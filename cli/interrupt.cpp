#include "cli/interrupt.h"

#include <signal.h>

#include <atomic>
#include <cstdlib>

#include "cli/program.h"
#include "core/platform/process_runner.h"
#include "core/platform/standard_streams.h"

namespace tidra {
namespace {

// Signal handlers may only use lock-free atomics.
std::atomic<bool> flag{false};
std::atomic<int> received{0};  // the first signal
std::atomic<bool> isPolled{false};
std::atomic<const char*> lastWords{""};
static_assert(std::atomic<bool>::is_always_lock_free && std::atomic<const char*>::is_always_lock_free);

void onSignal(int signal) {
  int none = 0;
  received.compare_exchange_strong(none, signal);
  // A terminal that goes away may be announced twice, by the shell and by the kernel: no wish to end at once.
  if ((!flag.exchange(true) || signal == SIGHUP) && isPolled) return;
  ProcessRunner::endRunning();
  writeFromSignalHandler(lastWords.load());
  std::_Exit(interruptedStatus());
}

std::atomic<bool> hangup{false};

void onHangup(int) { hangup = true; }

struct sigaction formerHangup {};

}  // namespace

void handleInterrupts() {
  struct sigaction action {};
  action.sa_handler = &onSignal;
  action.sa_flags = SA_RESTART;
  sigemptyset(&action.sa_mask);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction former {};
    ::sigaction(signal, nullptr, &former);
    // Keep SIG_IGN: a shell sets it for background jobs, and nohup for SIGHUP.
    if (former.sa_handler != SIG_IGN) ::sigaction(signal, &action, nullptr);
  }
}

int interruptedStatus() noexcept { return received == SIGHUP ? ExitStatus::hungUp : ExitStatus::interrupted; }

InterruptGuard::InterruptGuard() { isPolled = true; }

InterruptGuard::~InterruptGuard() { isPolled = false; }

bool InterruptGuard::requested() { return flag; }

void InterruptGuard::request() { flag = true; }

void InterruptGuard::requireNone(const char* sentence) {
  if (requested()) throw Interrupted(sentence);
}

BlockingWait::BlockingWait(const char* words) : formerly_(isPolled) {
  lastWords = words;
  isPolled = false;
}

BlockingWait::~BlockingWait() {
  isPolled = formerly_;
  lastWords = "";
}

HangupGuard::HangupGuard() {
  hangup = false;
  struct sigaction action {};
  action.sa_handler = &onHangup;
  action.sa_flags = SA_RESTART;
  sigemptyset(&action.sa_mask);
  ::sigaction(SIGHUP, &action, &formerHangup);
}

HangupGuard::~HangupGuard() { ::sigaction(SIGHUP, &formerHangup, nullptr); }

bool HangupGuard::takeRequest() { return hangup.exchange(false); }

void ignoreBrokenPipes() {
  struct sigaction action {};
  action.sa_handler = SIG_IGN;
  ::sigaction(SIGPIPE, &action, nullptr);
}

}  // namespace tidra
