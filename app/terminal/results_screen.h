// The list of findings, with details beside it where there is room.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "app/terminal/detail_pane.h"
#include "app/terminal/key.h"
#include "app/terminal/keymap.h"
#include "app/terminal/line_prompt.h"
#include "app/terminal/result_list.h"
#include "app/terminal/ui_action.h"
#include "app/terminal/ui_state.h"

namespace tidra {

class ResultsScreen {
 public:
  void draw(Canvas canvas, const UiState& state);
  UiAction handle(const Key& key, UiState& state);

  std::vector<std::string> detailTexts(const UiState& state) const;
  bool isTyping() const { return filter_.has_value(); }

  /// Git facts of a project, for its details.
  void setProject(ProjectFacts facts) { detail_.setProject(std::move(facts)); }

 private:
  UiAction move(Command command, UiState& state);
  UiAction click(const Key& key, UiState& state);
  UiAction open(UiState& state);
  UiAction showDetail(const UiState& state);
  UiAction back(UiState& state);
  UiAction escape(UiState& state);
  UiAction typed(const Key& key, UiState& state);
  bool changeMarks(Command command, UiState& state);
  void mark(UiState& state);
  void markRange(UiState& state);

  ResultList list_;
  DetailPane detail_;
  std::optional<LinePrompt> filter_;  // while it is typed
  bool showsDetail_ = false;          // instead of the list
};

/// The path under the cursor: of a finding, or of the project of its group; empty for other groups.
std::string pathUnderCursor(const UiState& state);
/// The project folder of the line under the cursor; empty for lines outside projects.
std::string projectUnderCursor(const UiState& state);

}  // namespace tidra
