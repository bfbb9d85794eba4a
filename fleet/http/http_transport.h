// The two transports of HTTPClient.
#pragma once

#include <chrono>

#include "core/platform/path_resolver.h"
#include "core/platform/stop_signal.h"
#include "fleet/http/http_client.h"
#include "fleet/http/url.h"

namespace tidra {

/// Upper bound of a time limit, in seconds.
inline constexpr double longestTimeoutSeconds = 24 * 60 * 60;

/// Plain TCP. `wait` bounds each wait for the peer, `most` the exchange.
HTTPClientResponse sendOverSocket(const HTTPClient::Request& request, const HTTPURL& url,
                                  std::chrono::milliseconds wait, std::chrono::milliseconds most,
                                  const StopSignal& stop);

/// Runs curl, for TLS. Headers and body are passed in files readable by the user only, because arguments of a process
/// are public.
HTTPClientResponse sendWithCurl(const HTTPClient::Request& request, const HTTPURL& url, double timeout,
                                const Environment& environment, const StopSignal& stop);

/// "tidra/VERSION".
std::string userAgent();

}  // namespace tidra
