// The same program line by line: numbered lists and questions, for screen readers and slow lines.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "app/terminal/ui_controller.h"
#include "core/platform/wake_pipe.h"

namespace tidra {

struct PlainConsole {
  std::function<void(std::string_view)> write;           // a text with its line feeds
  std::function<std::optional<std::string>()> readLine;  // without the line feed; nullopt at the end
  std::function<bool()> interrupted;                     // Ctrl-C; stays true
};

class PlainUi {
 public:
  PlainUi(UiEnvironment environment, PlainConsole console);

  /// Until the user quits or the input ends.
  void run();

 private:
  void waitForJobs();
  void showScreen();
  void showList();
  void showDetails();
  void obey(const std::string& line);
  bool obeyNumbers(const std::vector<std::string_view>& words);
  bool obeyWord(std::string_view word, std::string_view rest);
  void press(char32_t key) { controller_.handle(Key::of(key)); }
  void press(Key::Kind kind) { controller_.handle({.kind = kind}); }
  void typeText(std::string_view text);

  PlainConsole console_;
  WakePipe wake_;
  UiController controller_;
  std::size_t first_ = 0;  // line of the list that is shown first
  bool wasInterrupted_ = false;
};

}  // namespace tidra
