// One loop: waits for keys, signals and news of the jobs. A key is answered at once; news are shown at most ten times a
// second, and nothing is drawn without a cause.
#include "app/terminal/run_terminal_ui.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <utility>

#include "app/terminal/ui_controller.h"
#include "core/platform/wake_pipe.h"

namespace tidra {
namespace {

using UiClock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds newsPause{100};

/// Ten redraws a second for news; after a pause two more at once, so that the first finding does not wait for its turn.
class NewsPace {
 public:
  UiClock::duration timeLeft() const { return std::max(next_ - UiClock::now(), UiClock::duration::zero()); }
  void spend() { next_ = std::max(next_, UiClock::now() - 2 * newsPause) + newsPause; }

 private:
  UiClock::time_point next_{};
};

ScreenGlyphs glyphsOf(const Environment& environment) {
  for (const char* name : {"LC_ALL", "LC_CTYPE", "LANG"}) {
    const auto found = environment.find(name);
    if (found != environment.end() && !found->second.empty()) return ScreenGlyphs::of(found->second);
  }
  return ScreenGlyphs::ascii();
}

class UiLoop {
 public:
  UiLoop(UiEnvironment environment, const TerminalSession::Choices& choices)
      : glyphs_(glyphsOf(choices.environment)),
        session_(choices),
        controller_(std::move(environment),
                    UiHost{.wake = [this] { wake_.wake(); },
                           .suspend = [this] { session_.suspend(); },
                           .redraw = [this] { session_.redraw(); },
                           .copy = [this](const std::string& text) { session_.copyToClipboard(text); }}) {}

  UiEnd run() {
    draw();  // before the work begins
    controller_.start();
    draw();
    while (!controller_.isDone()) {
      const TerminalSession::Events events = session_.wait(wake_.descriptor(), timeToNews());
      if (events.lost) return {SIGHUP};
      if (events.endedBy) return endedBy(*events.endedBy);
      if (events.woken) {
        wake_.clear();
        hasNews_ = true;
      }
      handle(events);
    }
    return {.signal = {}, .lastWords = controller_.lastWords()};
  }

 private:
  UiEnd endedBy(int signal) {
    while (controller_.stopRemoval()) {
      if (controller_.takeNews()) continue;
      const TerminalSession::Events events = session_.wait(wake_.descriptor(), std::nullopt);
      if (events.lost) return {SIGHUP};
      if (events.woken) wake_.clear();
    }
    return {.signal = signal, .lastWords = controller_.lastWords()};
  }

  std::optional<std::chrono::milliseconds> timeToNews() const {
    if (!hasNews_) return std::nullopt;
    return std::chrono::ceil<std::chrono::milliseconds>(pace_.timeLeft());
  }

  void handle(const TerminalSession::Events& events) {
    for (const Key& key : events.keys) controller_.handle(key);
    bool isChanged = events.redraw || !events.keys.empty();
    if (hasNews_ && pace_.timeLeft() == UiClock::duration::zero()) {
      hasNews_ = false;
      pace_.spend();
      isChanged = controller_.takeNews() || isChanged;
    }
    if (isChanged) draw();
  }

  void draw() {
    Frame frame(session_.size());
    controller_.draw(frame, glyphs_);
    session_.show(frame);
  }

  const ScreenGlyphs glyphs_;
  WakePipe wake_;
  TerminalSession session_;
  UiController controller_;
  bool hasNews_ = false;
  NewsPace pace_;
};

}  // namespace

UiEnd runTerminalUi(UiEnvironment environment, const TerminalSession::Choices& choices) {
  UiLoop loop(std::move(environment), choices);
  return loop.run();
}

}  // namespace tidra
