// The screens beside the results, with what they work on: quarantine and trash, undo, exclusions, settings.
#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "app/terminal/exclusions_screen.h"
#include "app/terminal/settings_screen.h"
#include "app/terminal/stores_screen.h"
#include "app/terminal/summary_screen.h"
#include "app/terminal/ui_environment.h"
#include "app/terminal/ui_state.h"
#include "app/terminal/undo_screen.h"

namespace tidra {

class SideScreens {
 public:
  enum class Screen { stores, undo, exclusions, settings };

  /// The environment must outlive this.
  SideScreens(const UiEnvironment& environment, std::function<void()> wake)
      : environment_(environment), wake_(std::move(wake)) {}

  /// Reads what the screen shows. Returns whether it can be shown; if not, the notice says why.
  bool open(Screen screen, UiState& state);
  void draw(Screen screen, Canvas canvas, const UiState& state);
  UiAction handle(Screen screen, const Key& key, UiState& state);
  /// Takes the news of the jobs. What came back is in the list of results again.
  bool drain(UiState& state, SummaryScreen& summary);
  bool isBusy() const { return job_ != nullptr || undoJob_ != nullptr; }
  /// Whether entries are being brought back or deleted.
  bool isActing() const { return stores_.isActing() || undo_.isActing(); }
  std::vector<std::string> texts(Screen screen, const UiState& state) const;
  /// That the screen asks; empty when there is none.
  std::string question(Screen screen) const;
  bool goToLine(Screen screen, std::size_t line);
  bool isTyping() const { return exclusions_.isTyping() || settings_.isTyping(); }

  /// Adds a folder of the results to the exclusions; the notice says what became of it.
  void exclude(const std::string& path, UiState& state);

 private:
  void carryOut(StoresOrder order);
  void undo(std::optional<std::string> id);
  void save();
  bool openExclusions(UiState& state);
  bool openSettings(UiState& state);

  const UiEnvironment& environment_;
  std::function<void()> wake_;
  StoresScreen stores_;
  std::unique_ptr<StoresJob> job_;
  UndoScreen undo_;
  std::unique_ptr<UndoJob> undoJob_;
  ExclusionsScreen exclusions_;
  std::optional<ExclusionsStore> exclusionsStore_;
  std::optional<ExclusionsView> exclusionsView_;
  SettingsScreen settings_;
  std::optional<SettingsDraft> draft_;
};

}  // namespace tidra
