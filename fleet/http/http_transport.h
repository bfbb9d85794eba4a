// The two ways in which a client reaches a server; HTTPClient chooses.
#pragma once

#include <chrono>

#include "core/platform/path_resolver.h"
#include "core/platform/stop_signal.h"
#include "fleet/http/http_client.h"
#include "fleet/http/url.h"

namespace tidra {

/// Over a TCP socket. `wait` is the longest wait for the peer, `most` that of the exchange.
HTTPClientResponse sendOverSocket(const HTTPClient::Request& request, const HTTPURL& url,
                                  std::chrono::milliseconds wait, std::chrono::milliseconds most,
                                  const StopSignal& stop);

/// By running curl, which speaks TLS. Headers and body go through files that only the user may read, since everybody
/// may see the arguments of a program.
HTTPClientResponse sendWithCurl(const HTTPClient::Request& request, const HTTPURL& url, double timeout,
                                const Environment& environment, const StopSignal& stop);

/// "tidra/" and the version.
std::string userAgent();

}  // namespace tidra
