// Text that many values have in common, such as the name of a project in each of its rows: copies share it.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

namespace tidra {

/// Immutable. May be copied and read on any thread.
class SharedText {
 public:
  SharedText() = default;
  explicit SharedText(std::string_view text)
      : text_(text.empty() ? nullptr : std::make_shared<const std::string>(text)) {}

  std::string_view view() const { return text_ == nullptr ? std::string_view() : std::string_view(*text_); }
  std::string string() const { return std::string(view()); }
  bool empty() const { return text_ == nullptr; }

  friend class LentText;
  friend bool operator==(const SharedText& a, const SharedText& b) {
    return a.text_ == b.text_ || a.view() == b.view();
  }

 private:
  std::shared_ptr<const std::string> text_;  // null: empty
};

/// A SharedText that something else keeps: copies neither count nor look at it, where a list has one in each group.
class LentText {
 public:
  LentText() = default;
  explicit LentText(const SharedText& text) : text_(text.text_.get()) {}

  std::string_view view() const { return text_ == nullptr ? std::string_view() : std::string_view(*text_); }
  std::string string() const { return std::string(view()); }

  friend bool operator==(const LentText& a, const LentText& b) { return a.view() == b.view(); }

 private:
  const std::string* text_ = nullptr;  // null: empty
};

/// Lends the same SharedText for equal text.
class SharedTexts {
 public:
  /// The text that it refers to lives as long as this object.
  SharedText of(std::string_view text) {
    const auto known = known_.find(text);
    if (known != known_.end()) return known->second;
    SharedText shared(text);
    known_.emplace(shared.view(), shared);
    return shared;
  }

 private:
  std::unordered_map<std::string_view, SharedText> known_;  // the keys refer to the values
};

}  // namespace tidra
