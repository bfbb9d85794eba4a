// The screens with what they work on: keys in, frames out. Knows no terminal.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "app/terminal/canvas.h"
#include "app/terminal/help_screen.h"
#include "app/terminal/removal_flow.h"
#include "app/terminal/results_screen.h"
#include "app/terminal/scan_flow.h"
#include "app/terminal/side_screens.h"
#include "app/terminal/summary_screen.h"
#include "app/terminal/ui_environment.h"
#include "app/terminal/ui_state.h"

namespace tidra {

/// For one thread.
class UiController {
 public:
  UiController(UiEnvironment environment, UiHost host);

  /// Starts the scan, or shows the last one.
  void start();
  void handle(const Key& key);
  /// Takes what the jobs have to say. Returns whether a new frame differs from the one before.
  bool takeNews();
  void draw(Frame& frame, const ScreenGlyphs& glyphs);
  bool isDone() const { return isDone_; }
  /// Stops a removal after what is begun. Returns whether there is one to wait for: its news say when it has ended.
  bool stopRemoval();
  /// What became of a removal that went on when the user left, as lines; empty without one.
  std::vector<std::string> lastWords() const;

  const UiState& state() const { return state_; }
  /// Whether news are still to come.
  bool isBusy() const {
    return scan_.isRunning() || removal_.isLooking() || removal_.isRemoving() || side_.isBusy() || project_ != nullptr;
  }

  // For a face of lines.
  /// What the present screen says, besides the list of results.
  std::vector<std::string> texts();
  std::vector<std::string> detailTexts() const { return results_.detailTexts(state_); }
  /// Puts the cursor of the present screen on a line. Returns whether there is such a line.
  bool goToLine(std::size_t line);
  /// Whether the cursor of the list is on the head of a group.
  bool isOnHead() const { return isOnResults() && state_.cursor.at() != nullptr && state_.cursor.at()->isHead(); }
  bool isOnResults() const { return screen_ == Screen::results; }
  bool isInReview() const { return screen_ == Screen::review; }
  bool isOnStores() const { return screen_ == Screen::stores; }
  bool isOnExclusions() const { return screen_ == Screen::exclusions; }
  /// Whether keys are the text of a prompt, and no commands.
  bool isTyping() const;

 private:
  enum class Screen { results, review, summary, help, stores, undo, exclusions, settings };

  /// The present screen among those beside the results; absent for others.
  std::optional<SideScreens::Screen> side() const;
  /// What the present screen asks; empty when that is nothing.
  std::string question() const;
  void forgetOldQuestion();
  UiAction handleOnScreen(const Key& key);
  std::optional<UiAction> otherScreen(const Key& key) const;
  UiAction handleReview(const Key& key);
  void perform(const UiAction& action);
  void performOnPath(const UiAction& action);
  void showSide(SideScreens::Screen side, Screen screen);
  void readProject(const std::string& path);
  void show(Screen screen);
  void showLast();
  void startScan(bool everything);
  void review();
  void undo();
  void interrupt();
  void quit();
  void readVolume();

  UiEnvironment environment_;
  UiHost host_;
  UiState state_;
  ScanFlow scan_;
  RemovalFlow removal_;
  ResultsScreen results_;
  SummaryScreen summary_;
  HelpScreen help_;
  SideScreens side_;
  std::unique_ptr<ProjectJob> project_;
  Screen screen_ = Screen::results;
  Screen beforeHelp_ = Screen::results;
  std::string shownQuestion_;  // a yes to any other is none: nobody has read it
  bool asksToQuit_ = false;    // a removal is running
  bool hasLeftRemoval_ = false;
  bool isDone_ = false;
};

}  // namespace tidra
