// The terminal for as long as screens are shown on it: signals, waiting, giving it back.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "app/terminal/frame.h"
#include "app/terminal/key.h"
#include "core/platform/path_resolver.h"

namespace tidra {

/// Owns the terminal of the standard streams. The destructor gives it back as it was, and so does a signal that ends
/// the program meanwhile. For one thread; one at a time.
class TerminalSession {
 public:
  struct Choices {
    bool mouse = true;
    Environment environment;  // TERM, NO_COLOR, and the locale
  };

  /// Throws InputError, with a sentence that names a command for it, if there is no terminal that can show screens.
  explicit TerminalSession(const Choices& choices);
  ~TerminalSession();
  TerminalSession(const TerminalSession&) = delete;
  TerminalSession& operator=(const TerminalSession&) = delete;

  ScreenSize size() const;
  /// Writes what changed since the frame before; nothing for an equal one.
  void show(const Frame& frame);
  /// The next frame is drawn as a whole, over what another program wrote.
  void redraw();

  struct Events {
    std::vector<Key> keys;
    bool woken = false;          // the other descriptor is readable
    bool redraw = false;         // the size is another, or the program was continued
    std::optional<int> endedBy;  // SIGINT, SIGTERM or SIGHUP arrived
    bool lost = false;           // the terminal is gone
  };

  /// Waits until something happens, also on `wakeDescriptor`, at most `most` if that is set. Suspends the program on
  /// SIGTSTP, and returns when it is continued.
  Events wait(int wakeDescriptor, std::optional<std::chrono::milliseconds> most);

  /// Gives the terminal back, stops the job as Ctrl-Z does elsewhere, and takes the terminal again afterwards.
  void suspend();

  /// Asks the terminal to put the text on the clipboard (OSC 52); not all do.
  void copyToClipboard(std::string_view text);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace tidra
