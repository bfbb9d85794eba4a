// What an undo would bring back, and the question before it.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "app/terminal/text_lines.h"
#include "app/terminal/ui_action.h"
#include "app/terminal/ui_state.h"
#include "app/view/undo_job.h"

namespace tidra {

class UndoScreen {
 public:
  /// Nothing is known yet.
  void begin() { *this = {}; }
  /// `isListed`: what came back is in the list of results again.
  void show(std::shared_ptr<const UndoJob::News> news, bool isListed);

  /// Whether items are being brought back.
  bool isActing() const { return isWorking_; }

  void draw(Canvas canvas, const UiState& state);

  std::vector<std::string> texts(const UiState& state) const;
  /// Empty when none is asked.
  std::string question() const;

  struct Answer {
    UiAction action = {};
    std::optional<std::string> id = {};  // of the run to undo
  };
  Answer handle(const Key& key);

 private:
  std::vector<ScreenLine> lines(std::size_t columns, const UiState& state) const;
  std::size_t countOfReturning() const;
  bool asks() const { return news_ != nullptr && !news_->result && !isWorking_ && countOfReturning() > 0; }

  std::shared_ptr<const UndoJob::News> news_;  // null until it is known
  bool isListed_ = false;
  bool isWorking_ = false;  // the undo is under way
  ScrolledLines scroll_;
};

}  // namespace tidra
