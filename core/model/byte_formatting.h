// Formats sizes for display.
#pragma once

#include <cstdint>
#include <string>

namespace tidra {

struct ByteFormatting {
  /// Returns powers of 1024: "1.5 GB" from one GB on, else whole "12 MB", else whole "3 KB". Below 512 bytes: "0 KB".
  static std::string compact(std::int64_t bytes);

  /// As compact(), but exact below 1 KB: "17 B".
  static std::string readable(std::int64_t bytes);
};

}  // namespace tidra
