#include "fleet/agent/policy/token_file.h"

#include <fmt/format.h>

#include "core/base/byte_units.h"
#include "core/base/text.h"
#include "core/platform/files.h"

namespace tidra {
namespace {

constexpr std::size_t mostTokenBytes = 64_KiB;

}  // namespace

std::string TokenFile::firstToken() const {
  return std::string(trimmed(std::string_view(text).substr(0, text.find('\n'))));
}

TokenFile readTokenFile(const std::string& path, std::string_view reader) {
  const std::string shown = escapedForTerminal(path);
  const auto file = readSecretFile(path, mostTokenBytes);
  if (!file) {
    const auto reason = file.failure();
    if (reason == std::errc::no_such_file_or_directory || reason == std::errc::not_a_directory) {
      return {{}, fmt::format("Token file '{}' does not exist.", shown), true};
    }
    if (reason == std::errc::invalid_argument)
      return {{}, fmt::format("Token file '{}' is not a regular file.", shown)};
    return {{}, fmt::format("Token file '{}' cannot be read: {}.", shown, reason.message())};
  }
  if (file->isForeign) {
    return {{},
            fmt::format("Token file '{}' belongs to another user and is not used; chown it to the user that runs the "
                        "{}.",
                        shown, reader)};
  }
  if (file->isExposed) {
    return {{},
            fmt::format("Token file '{0}' can be read or changed by others and is not used; run chmod 600 '{0}' and "
                        "replace the token.",
                        shown)};
  }
  const std::string_view text = trimmed(file->bytes);
  if (text.empty()) return {{}, fmt::format("Token file '{}' is empty.", shown), true};
  if (!isValidUtf8(text)) return {{}, fmt::format("Token file '{}' is not UTF-8 text and is not used.", shown)};
  return {std::string(text), {}};
}

}  // namespace tidra
