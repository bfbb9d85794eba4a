// Any input is a response or malformed, and a body is never longer than the input.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "fleet/http/http_client.h"
#include "fleet/http/http_parser.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  try {
    if (tidra::parseResponse(bytes).body.size() > size) std::abort();
  } catch (const tidra::HTTPClientError& error) {
    if (error.kind() != tidra::HTTPClientError::Kind::malformed) std::abort();
  }
  tidra::lastHeaders(bytes);
  return 0;
}
