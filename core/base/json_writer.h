// Compact JSON as a stream: keys in the order in which they are put, slashes unescaped, U+FFFD for malformed UTF-8.
#pragma once

#include <array>
#include <cassert>
#include <charconv>
#include <concepts>
#include <cstddef>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/base/json_codec.h"
#include "core/base/plain_text.h"
#include "core/base/time_point.h"

namespace tidra {

/// Appends to a text in chunks; the last chunk arrives with flush().
class JsonWriter {
 public:
  /// The text must outlive the writer.
  explicit JsonWriter(std::string& text) : text_(text), end_(chunk_) {}
  JsonWriter(const JsonWriter&) = delete;
  JsonWriter& operator=(const JsonWriter&) = delete;

  /// Appends a piece of JSON as it is.
  void raw(std::string_view json) {
    if (json.size() > room()) return rawLong(json);
    std::memcpy(std::exchange(end_, end_ + json.size()), json.data(), json.size());
  }

  template <std::integral Number>
  void number(Number value) {
    constexpr std::size_t mostDigits = 24;
    reserve(mostDigits);
    end_ = std::to_chars(end_, end_ + mostDigits, value).ptr;
  }

  /// NaN and infinities, which JSON lacks, become null.
  void number(double value);

  void time(TimePoint value) {
    const std::string_view text = dates_.of(value);
    reserve(text.size() + 2);
    *end_ = '"';
    std::memcpy(end_ + 1, text.data(), text.size());
    end_ += text.size() + 2;
    end_[-1] = '"';
  }

  /// Returns false when the text is not valid UTF-8, so that it stands there with replacement characters.
  bool text(std::string_view value) {
    if (value.size() + 2 > room() || !copyPlain(value, end_ + 1)) return textEscaped(value);
    *end_ = '"';
    end_ += value.size() + 2;
    end_[-1] = '"';
    return true;
  }

  /// Begins a member of an object. `opening` is a comma, the quoted key and a colon; the first member of an object has
  /// a brace in the place of the comma.
  template <std::size_t size>
  void member(const std::array<char, size>& opening, bool isFirst) {
    static_assert(size <= chunkBytes);
    reserve(size);
    std::memcpy(end_, opening.data(), size);
    if (isFirst) *end_ = '{';
    end_ += size;
  }

  /// True once a text was not valid UTF-8.
  bool hasReplaced() const { return hasReplaced_; }

  /// Bytes of the text so far, the unflushed ones included.
  std::size_t size() const { return text_.size() + static_cast<std::size_t>(end_ - chunk_); }

  void flush() { text_.append(chunk_, std::exchange(end_, chunk_)); }

 private:
  static constexpr std::size_t chunkBytes = 4096;

  std::size_t room() const { return static_cast<std::size_t>(chunk_ + chunkBytes - end_); }
  void reserve(std::size_t bytes) {
    assert(bytes <= chunkBytes);
    if (room() < bytes) flush();
  }
  void rawLong(std::string_view json);
  bool textEscaped(std::string_view value);
  void escape(std::string_view utf8);

  std::string& text_;
  char* end_;
  bool hasReplaced_ = false;
  TimeText dates_;
  char chunk_[chunkBytes];  // uninitialised beyond end_
};

/// Writes an object whose members are computed. Keys must ascend.
class JsonObjectWriter {
 public:
  explicit JsonObjectWriter(JsonWriter& out) : out_(out) {}

  template <class T>
  JsonObjectWriter& put(std::string_view key, const T& value) {
    begin(key);
    JsonCodec<T>::write(out_, value);
    return *this;
  }
  /// An absent value leaves out the key.
  template <class T>
  JsonObjectWriter& put(std::string_view key, const std::optional<T>& value) {
    return value ? put(key, *value) : *this;
  }

  /// A text that may be any bytes: when it is not UTF-8, base64 follows under `key` + "Bytes".
  JsonObjectWriter& putBytes(const std::string& key, const std::string& bytes);
  /// The same for an array: when one of the texts is not UTF-8, all follow in base64.
  JsonObjectWriter& putByteList(const std::string& key, const std::vector<std::string>& values);

  void close() { out_.raw(last_.empty() ? "{}" : "}"); }

 private:
  void begin(std::string_view key) {
    assert(last_.empty() || last_ < key);
    out_.raw(last_.empty() ? "{" : ",");
    last_ = key;
    out_.text(key);
    out_.raw(":");
  }

  JsonWriter& out_;
  std::string last_;
};

/// Appends the value as compact JSON.
template <class T>
void appendJson(std::string& text, const T& value) {
  JsonWriter out(text);
  JsonCodec<T>::write(out, value);
  out.flush();
}

template <class T>
[[nodiscard]] std::string compactJson(const T& value) {
  std::string text;
  appendJson(text, value);
  return text;
}

/// Compact JSON of one object, whose members `fill` puts.
template <class Fill>
[[nodiscard]] std::string compactObject(Fill fill) {
  std::string text;
  JsonWriter out(text);
  JsonObjectWriter object(out);
  fill(object);
  object.close();
  out.flush();
  return text;
}

/// Lays out compact JSON over lines, indented by two; empty objects and arrays stay on one.
[[nodiscard]] std::string indentedJson(std::string_view compact);

template <class T>
[[nodiscard]] std::string prettyJson(const T& value) {
  return indentedJson(compactJson(value));
}

}  // namespace tidra
