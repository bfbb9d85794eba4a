// What a removal would do, and the questions before it. The only screen from which something is removed.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "app/terminal/line_prompt.h"
#include "app/terminal/text_lines.h"
#include "app/terminal/ui_action.h"
#include "app/terminal/ui_state.h"
#include "app/view/review.h"

namespace tidra {

class ReviewScreen {
 public:
  /// Nothing is known yet: "Looking at 5 items…".
  void begin(std::size_t items, const ReviewChoice& choice);
  void show(Review review, std::vector<MethodChoice> methods);
  void fail(std::string sentence);

  void draw(Canvas canvas, const UiState& state);

  std::vector<std::string> texts() const;
  /// What the last line says; empty while nothing is known.
  std::string question() const;
  bool isTyping() const { return typing_.has_value(); }

  /// What the screen wants besides its actions.
  enum class Wish { none, choiceChanged, start };
  struct Answer {
    UiAction action = {};
    Wish wish = Wish::none;
  };
  Answer handle(const Key& key, UiState& state);

  const ReviewChoice& choice() const { return choice_; }
  /// Whether the items of this remover were agreed to.
  bool includes(Remover remover) const;

 private:
  struct TextWidths {
    std::size_t label = 0;
    std::size_t path = 0;
  };
  TextWidths textWidths(std::size_t room, bool isWide) const;
  std::vector<ScreenLine> lines(std::size_t columns) const;
  void addItems(std::vector<ScreenLine>& lines, const std::vector<ReviewItem>& items, std::string_view word, Look look,
                std::size_t columns) const;
  void addRefused(std::vector<ScreenLine>& lines, std::size_t columns) const;
  Answer typed(const Key& key, UiState& state);
  Answer answer(bool agrees);
  Answer switchMethod(UiState& state);

  std::size_t waitingFor_ = 0;
  std::string failure_;
  std::optional<Review> review_;
  std::vector<MethodChoice> methods_;
  ReviewChoice choice_;
  std::vector<bool> answers_;         // to the questions so far
  std::optional<LinePrompt> typing_;  // the word that includes what does not come back
  ScrolledLines scroll_;
};

}  // namespace tidra
