// An HTTP client: one request a connection.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

#include "core/base/byte_units.h"
#include "core/platform/path_resolver.h"
#include "core/platform/stop_signal.h"
#include "fleet/http/http_message.h"

namespace tidra {

/// Why there is no response; what() is a sentence for people.
class HTTPClientError : public std::runtime_error {
 public:
  enum class Kind { badURL, resolve, connect, io, malformed, timeout, noTLSSupport };

  static HTTPClientError badURL(const std::string& url);
  static HTTPClientError resolve(const std::string& host);
  static HTTPClientError connect(const std::string& detail);
  static HTTPClientError io(const std::string& detail);
  static HTTPClientError malformed();
  static HTTPClientError timeout();
  static HTTPClientError noTLSSupport();

  Kind kind() const { return kind_; }

  /// Same kind and same text.
  bool operator==(const HTTPClientError& other) const {
    return kind_ == other.kind_ && std::string_view(what()) == other.what();
  }

 private:
  HTTPClientError(Kind kind, const std::string& message) : std::runtime_error(message), kind_(kind) {}

  Kind kind_;
};

/// Thread-safe; calls share no state.
struct HTTPClient {
  /// Longer responses are refused.
  static constexpr std::size_t mostResponseBytes = 64_MiB;

  struct Request {
    std::string method;
    std::string url;           // http or https
    HTTPHeaders headers = {};  // besides Host, Connection, User-Agent, Accept and Content-Length
    std::string body = {};
  };

  /// Sends one request and returns the response of any status. `timeout` is in seconds (truncated from one on): the
  /// longest single wait for the peer. The exchange is bounded by four times that (https: once, by curl), besides name
  /// resolution. `environment` names where to find curl (PATH) and to put its files (TMPDIR). Raising `stop` ends the
  /// exchange with an I/O error.
  /// Throws HTTPClientError, also when the method or a header cannot be sent.
  static HTTPClientResponse send(const Request& request, double timeout, const Environment& environment,
                                 const StopSignal* stop = nullptr);
};

}  // namespace tidra
