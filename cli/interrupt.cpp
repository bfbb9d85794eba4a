#include "cli/interrupt.h"

#include <signal.h>

#include <atomic>

namespace tidra {
namespace {

std::atomic<bool> flag{false};
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler may only touch lock-free atomics");

void onSignal(int) { flag = true; }

void install(void (*handler)(int), int flags) {
  struct sigaction action {};
  action.sa_handler = handler;
  action.sa_flags = flags;
  ::sigemptyset(&action.sa_mask);
  for (const int signal : {SIGINT, SIGTERM}) ::sigaction(signal, &action, nullptr);
}

}  // namespace

InterruptGuard::InterruptGuard() {
  flag = false;
  install(&onSignal, SA_RESTART | static_cast<int>(SA_RESETHAND));
}

InterruptGuard::~InterruptGuard() { install(SIG_DFL, 0); }

bool InterruptGuard::requested() { return flag; }

}  // namespace tidra
