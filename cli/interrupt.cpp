#include "cli/interrupt.h"

#include <signal.h>

#include <array>
#include <atomic>

namespace tidra {
namespace {

std::atomic<bool> flag{false};
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler may only touch lock-free atomics");

void onSignal(int) { flag = true; }

std::atomic<bool> hangup{false};

void onHangup(int) { hangup = true; }

constexpr std::array signals{SIGINT, SIGTERM};
std::array<struct sigaction, signals.size()> former{};
struct sigaction formerHangup {};

}  // namespace

InterruptGuard::InterruptGuard() {
  flag = false;
  struct sigaction action {};
  action.sa_handler = &onSignal;
  action.sa_flags = SA_RESTART | static_cast<int>(SA_RESETHAND);
  ::sigemptyset(&action.sa_mask);
  for (std::size_t i = 0; i < signals.size(); ++i) {
    ::sigaction(signals[i], nullptr, &former[i]);
    // Who started the program in the background has it ignore the terminal's interrupts.
    if (former[i].sa_handler != SIG_IGN) ::sigaction(signals[i], &action, nullptr);
  }
}

InterruptGuard::~InterruptGuard() {
  for (std::size_t i = 0; i < signals.size(); ++i) ::sigaction(signals[i], &former[i], nullptr);
}

bool InterruptGuard::requested() { return flag; }

HangupGuard::HangupGuard() {
  hangup = false;
  struct sigaction action {};
  action.sa_handler = &onHangup;
  action.sa_flags = SA_RESTART;
  ::sigemptyset(&action.sa_mask);
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
