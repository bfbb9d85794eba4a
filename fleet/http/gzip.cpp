#include "fleet/http/gzip.h"

#include <zlib.h>

#include <algorithm>
#include <limits>
#include <new>
#include <optional>

#include "core/base/byte_units.h"
#include "core/base/text.h"

namespace tidra {
namespace {

/// False for a coding with weight 0, such as "q=0" or "q=0.000".
bool isWanted(std::string_view parameters) {
  for (const std::string_view parameter : split(parameters, ';')) {
    const std::string text = asciiLowered(trimmed(parameter));
    if (text.starts_with("q=")) return text.find_first_not_of("0.", 2) != std::string::npos;
  }
  return true;
}

class Deflater {
 public:
  explicit Deflater(std::string_view bytes) : rest_(bytes) {
    constexpr int gzipWrapping = 16;  // added to the window bits: gzip format instead of zlib
    constexpr int usualMemory = 8;
    if (::deflateInit2(&stream_, Z_BEST_SPEED, Z_DEFLATED, MAX_WBITS + gzipWrapping, usualMemory, Z_DEFAULT_STRATEGY) !=
        Z_OK) {
      throw std::bad_alloc();
    }
  }
  ~Deflater() { ::deflateEnd(&stream_); }
  Deflater(const Deflater&) = delete;
  Deflater& operator=(const Deflater&) = delete;

  std::string finish() {
    std::string result;
    int state = Z_OK;
    while (state != Z_STREAM_END) {
      feed();
      const std::size_t filled = result.size();
      constexpr std::size_t chunk = 256_KiB;
      result.resize(filled + chunk);
      stream_.next_out = reinterpret_cast<Bytef*>(result.data() + filled);
      stream_.avail_out = chunk;
      state = ::deflate(&stream_, rest_.empty() ? Z_FINISH : Z_NO_FLUSH);
      result.resize(result.size() - stream_.avail_out);
    }
    return result;
  }

 private:
  /// zlib counts its input in 32 bits.
  void feed() {
    if (stream_.avail_in > 0 || rest_.empty()) return;
    const auto size = std::min<std::size_t>(rest_.size(), std::numeric_limits<uInt>::max());
    stream_.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(rest_.data()));
    stream_.avail_in = static_cast<uInt>(size);
    rest_.remove_prefix(size);
  }

  z_stream stream_{};
  std::string_view rest_;
};

}  // namespace

bool acceptsGzip(const HTTPHeaders& requestHeaders) {
  const auto accepted = requestHeaders.find("accept-encoding");
  if (accepted == requestHeaders.end()) return false;
  std::optional<bool> everything;
  for (const std::string_view entry : split(accepted->second, ',')) {
    const auto nameEnd = std::min(entry.find(';'), entry.size());
    const std::string name = asciiLowered(trimmed(entry.substr(0, nameEnd)));
    const bool wanted = isWanted(entry.substr(nameEnd));
    if (name == "gzip" || name == "x-gzip") return wanted;
    if (name == "*") everything = wanted;
  }
  return everything.value_or(false);
}

std::string gzipped(std::string_view bytes) { return Deflater(bytes).finish(); }

}  // namespace tidra
