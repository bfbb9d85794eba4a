// Compressed bodies: HTTP's content coding "gzip".
#pragma once

#include <string>
#include <string_view>

#include "fleet/http/http_message.h"

namespace tidra {

/// True when the request's Accept-Encoding names gzip or "*" with a weight above 0.
bool acceptsGzip(const HTTPHeaders& requestHeaders);

/// Returns the bytes in gzip format, compressed for speed. Throws std::bad_alloc.
std::string gzipped(std::string_view bytes);

}  // namespace tidra
