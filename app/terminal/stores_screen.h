// What lies in quarantine and trash: brought back, or deleted for good after a question.
#pragma once

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "app/terminal/canvas.h"
#include "app/terminal/list_cursor.h"
#include "app/terminal/ui_action.h"
#include "app/terminal/ui_state.h"
#include "app/view/stores_job.h"

namespace tidra {

class StoresScreen {
 public:
  /// Nothing is known yet.
  void begin();
  void show(const StoresJob::Result& result);

  /// Whether entries are being brought back or deleted.
  bool isActing() const { return isWorking_ && act_ != StoresOrder::Act::list; }

  void draw(Canvas canvas, const UiState& state);

  /// Entries with numbers, what was done, the question.
  std::vector<std::string> texts(const UiState& state) const;
  /// Empty when none is asked.
  std::string question() const;
  bool goToLine(std::size_t line) { return cursor_.moveTo(line); }

  struct Answer {
    UiAction action = {};
    std::optional<StoresOrder> order = {};  // to carry out
  };
  Answer handle(const Key& key, UiState& state);

 private:
  std::vector<StoredThing> chosen() const;
  void mark();
  Answer begin(StoresOrder::Act act, std::string_view news);

  std::vector<StoredThing> things_;
  std::set<std::string> marked_;  // by path
  std::string news_;              // what was done, or that it is being read
  ListCursor cursor_;
  StoresOrder::Act act_ = StoresOrder::Act::list;  // the last one
  bool isWorking_ = true;
  bool asksToPurge_ = false;
};

}  // namespace tidra
