// A line that the user types.
#pragma once

#include <cstddef>
#include <string>

#include "app/terminal/canvas.h"
#include "app/terminal/key.h"

namespace tidra {

class LinePrompt {
 public:
  explicit LinePrompt(std::string question = {}, std::string text = {})
      : question_(std::move(question)), text_(std::move(text)) {}

  enum class Result { open, changed, accepted, cancelled };
  Result handle(const Key& key);

  const std::string& text() const { return text_; }
  void clear() { text_.clear(); }

  /// Shows the end of a text that is too long, and the cursor behind it.
  void draw(Canvas& canvas, std::size_t row) const;

 private:
  std::string question_;
  std::string text_;  // UTF-8
};

}  // namespace tidra
