// What scans leave out: added, removed, and tried on the results before.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "app/terminal/line_prompt.h"
#include "app/terminal/list_cursor.h"
#include "app/terminal/ui_action.h"
#include "app/terminal/ui_state.h"
#include "app/view/exclusions_view.h"

namespace tidra {

/// The view is passed to each call; its failures become the line at the bottom.
class ExclusionsScreen {
 public:
  void draw(Canvas canvas, const ExclusionsView& view, const UiState& state);
  UiAction handle(const Key& key, ExclusionsView& view, const UiState& state);

  std::vector<std::string> texts(const ExclusionsView& view) const;
  bool goToLine(std::size_t line, const ExclusionsView& view);
  bool isTyping() const { return prompt_.has_value(); }

 private:
  void typed(const Key& key, ExclusionsView& view, const UiState& state);
  void remove(ExclusionsView& view, const UiState& state);

  ListCursor cursor_;
  std::optional<LinePrompt> prompt_;
  std::string news_;
};

}  // namespace tidra
