#include "app/terminal/emergency_exit.h"

#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <exception>

namespace tidra {
namespace {

// For a signal handler: no locks, no allocation.
std::array<char, 255> leaving;
std::atomic<std::size_t> leavingSize{0};
std::atomic<bool> isArmed{false};
termios formerModes;
std::terminate_handler formerTerminate = nullptr;

[[noreturn]] void restoreAndTerminate() {
  EmergencyExit::restoreTerminal();
  formerTerminate();
  __builtin_unreachable();
}

}  // namespace

SavedTerminal::SavedTerminal() { ::tcgetattr(STDIN_FILENO, &formerModes); }

EmergencyExit::EmergencyExit(const std::string& leavingBytes) {
  const std::size_t size = std::min(leavingBytes.size(), leaving.size());
  std::copy_n(leavingBytes.begin(), size, leaving.begin());
  leavingSize = size;
  isArmed = true;
  formerTerminate = std::set_terminate(&restoreAndTerminate);
}

EmergencyExit::~EmergencyExit() {
  std::set_terminate(formerTerminate);
  isArmed = false;
}

void EmergencyExit::restoreTerminal() noexcept {
  if (!isArmed.exchange(false)) return;
  [[maybe_unused]] const auto written = ::write(STDOUT_FILENO, leaving.data(), leavingSize);
  ::tcsetattr(STDIN_FILENO, TCSANOW, &formerModes);
}

}  // namespace tidra
