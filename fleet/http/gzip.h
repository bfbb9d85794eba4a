// Compressed bodies, as HTTP's content coding "gzip".
#pragma once

#include <string>
#include <string_view>

#include "fleet/http/http_message.h"

namespace tidra {

/// True when a request's Accept-Encoding names gzip, or everything, and does not weigh it 0.
bool acceptsGzip(const HTTPHeaders& requestHeaders);

/// The bytes in the gzip format, compressed quickly rather than tightly. Throws std::bad_alloc when memory runs out.
std::string gzipped(std::string_view bytes);

}  // namespace tidra
