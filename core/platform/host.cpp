#include "core/platform/host.h"

#include <unistd.h>

#include <array>

namespace tidra {

std::string TidraHost::name(const Environment& environment) {
  if (const auto given = environment.find("TIDRA_HOSTNAME"); given != environment.end() && !given->second.empty()) {
    return given->second;
  }
  std::array<char, 256> buffer{};
  // A name that fills the buffer may come without its terminator, so the last byte is kept out.
  if (::gethostname(buffer.data(), buffer.size() - 1) == 0 && buffer[0] != '\0') return buffer.data();
  return "unknown-host";
}

}  // namespace tidra
