// The terminal through ncurses: modes, cells and keys. For one thread; one at a time.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "app/terminal/frame.h"
#include "app/terminal/key.h"

namespace tidra {

class CursesScreen {
 public:
  struct Choices {
    std::string terminalType;  // TERM
    bool mouse = true;
    bool colored = true;
  };

  /// Switches the terminal of the standard streams to its alternate screen and takes keys as they come. Throws
  /// InputError if its type is unknown or cannot move its cursor.
  explicit CursesScreen(const Choices& choices);
  ~CursesScreen();
  CursesScreen(const CursesScreen&) = delete;
  CursesScreen& operator=(const CursesScreen&) = delete;

  ScreenSize size() const;
  /// Asks the terminal for its size. The next frame is drawn as a whole.
  void adoptSize();
  /// Writes what differs from the frame before, nothing for an equal one.
  void show(const Frame& frame);
  /// Does not wait. nullopt: no key is there.
  std::optional<Key> readKey();

  /// Gives the terminal back as it was, and takes it again.
  void leave();
  void enter();

  /// What leave() writes; for a signal handler.
  const std::string& leavingBytes() const;
  /// Writes a control sequence that moves nothing.
  void writeSequence(std::string_view bytes);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace tidra
