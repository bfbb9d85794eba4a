// Gives the terminal back when the program ends without unwinding its stack.
#pragma once

#include <termios.h>

#include <string>

namespace tidra {

/// The modes of the terminal on standard input as they were at the construction.
class SavedTerminal {
 public:
  SavedTerminal();
};

/// While alive, an uncaught exception on any thread restores the terminal before its words are written.
class EmergencyExit {
 public:
  /// `leavingBytes` make the terminal leave its alternate screen; at most 255 of them are used.
  explicit EmergencyExit(const std::string& leavingBytes);
  ~EmergencyExit();
  EmergencyExit(const EmergencyExit&) = delete;
  EmergencyExit& operator=(const EmergencyExit&) = delete;

  /// Async-signal-safe. Does nothing without an instance.
  static void restoreTerminal() noexcept;
};

}  // namespace tidra
