// An optional number without the padding of std::optional, for records that are kept by the million.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <optional>

namespace tidra {

/// An optional 64-bit number of nine bytes that needs no alignment.
class CompactOptional {
 public:
  CompactOptional() = default;
  CompactOptional(std::int64_t number) { *this = number; }
  CompactOptional(std::optional<std::int64_t> number) {
    if (number) *this = *number;
  }
  CompactOptional& operator=(std::int64_t number) {
    std::memcpy(bytes_.data(), &number, bytes_.size());
    isPresent_ = true;
    return *this;
  }

  explicit operator bool() const { return isPresent_; }
  /// Undefined when absent.
  std::int64_t operator*() const {
    std::int64_t number = 0;
    std::memcpy(&number, bytes_.data(), bytes_.size());
    return number;
  }
  // NOLINTNEXTLINE(readability-identifier-naming): the name of std::optional
  std::int64_t value_or(std::int64_t other) const { return isPresent_ ? **this : other; }

  bool operator==(const CompactOptional&) const = default;

 private:
  std::array<unsigned char, sizeof(std::int64_t)> bytes_{};  // zeros when absent
  bool isPresent_ = false;
};

}  // namespace tidra
