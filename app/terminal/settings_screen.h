// The settings that every face shares. A change is stored at once.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "app/state/app_settings.h"
#include "app/terminal/line_prompt.h"
#include "app/terminal/list_cursor.h"
#include "app/terminal/ui_action.h"
#include "app/terminal/ui_state.h"
#include "app/view/settings_draft.h"

namespace tidra {

class SettingsScreen {
 public:
  void draw(Canvas canvas, const SettingsDraft& draft, const UiState& state);

  struct Answer {
    UiAction action = {};
    bool isChanged = false;  // the draft is to be saved
  };
  Answer handle(const Key& key, SettingsDraft& draft, const UiState& state);
  std::vector<std::string> texts(const SettingsDraft& draft) const;
  bool goToLine(std::size_t line, const SettingsDraft& draft);
  bool isTyping() const { return path_.has_value(); }
  /// What became of saving.
  void say(std::string news) { news_ = std::move(news); }

 private:
  Answer typed(const Key& key, SettingsDraft& draft);

  ListCursor cursor_;
  std::optional<LinePrompt> path_;  // of the custom location
  std::string news_;
};

}  // namespace tidra
