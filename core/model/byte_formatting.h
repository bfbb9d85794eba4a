// Sizes for people.
#pragma once

#include <cstdint>
#include <string>

namespace tidra {

struct ByteFormatting {
  /// In powers of 1024: "1.5 GB" from one GB on, else whole "12 MB", else whole "3 KB". Below 512 bytes it is "0 KB".
  static std::string compact(std::int64_t bytes);
};

}  // namespace tidra
