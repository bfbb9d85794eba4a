#include "core/model/byte_formatting.h"

#include <fmt/format.h>

namespace tidra {

std::string ByteFormatting::compact(std::int64_t bytes) {
  constexpr double kilobyte = 1024.0;
  constexpr double megabyte = kilobyte * 1024.0;
  constexpr double gigabyte = megabyte * 1024.0;
  const auto exact = static_cast<double>(bytes);
  if (exact / gigabyte >= 1) return fmt::format("{:.1f} GB", exact / gigabyte);
  if (exact / megabyte >= 1) return fmt::format("{:.0f} MB", exact / megabyte);
  return fmt::format("{:.0f} KB", exact / kilobyte);
}

std::string ByteFormatting::readable(std::int64_t bytes) {
  constexpr std::int64_t kilobyte = 1024;
  return bytes < kilobyte ? fmt::format("{} B", bytes) : compact(bytes);
}

}  // namespace tidra
