// Splitting the input does not change the result, and an accepted request has one meaning.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "fleet/http/http_parser.h"

namespace {

void require(bool holds) {
  if (!holds) std::abort();
}

void requireOneMeaning(const tidra::HTTPRequest& request) {
  require(tidra::isHeaderName(request.method));
  require(request.path.find_first_of(" \r\n\t?") == std::string::npos);
  require(!request.headers.contains("transfer-encoding"));
  for (const auto& [name, value] : request.headers) require(tidra::isHeaderName(name) && tidra::isHeaderValue(value));
  const auto length = request.headers.find("content-length");
  require(request.body.size() == (length == request.headers.end() ? 0 : std::stoull(length->second)));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  constexpr std::size_t mostBodyBytes = 1000;
  const std::string_view bytes(reinterpret_cast<const char*>(data) + 1, size - 1);
  const std::size_t middle = bytes.size() * data[0] / 256;

  tidra::HTTPRequestReader whole(mostBodyBytes);
  whole.add(bytes);
  tidra::HTTPRequestReader parts(mostBodyBytes);
  parts.add(bytes.substr(0, middle));
  parts.add(bytes.substr(middle));
  require(whole.state() == parts.state() && whole.request() == parts.request());
  require(whole.refusal() == parts.refusal());
  if (whole.state() == tidra::HTTPRequestReader::State::complete) requireOneMeaning(whole.request());
  return 0;
}
