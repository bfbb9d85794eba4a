// One HTTP request over a connection of its own.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

#include "core/platform/path_resolver.h"
#include "core/platform/stop_signal.h"
#include "fleet/http/http_message.h"

namespace tidra {

/// Why there is no response; what() is the sentence for people.
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

  /// The same case with the same payload.
  bool operator==(const HTTPClientError& other) const {
    return kind_ == other.kind_ && std::string_view(what()) == other.what();
  }

 private:
  HTTPClientError(Kind kind, const std::string& message) : std::runtime_error(message), kind_(kind) {}

  Kind kind_;
};

/// Any thread may call; calls share nothing.
struct HTTPClient {
  /// More than this of one response is refused.
  static constexpr std::size_t mostResponseBytes = 64 * 1024 * 1024;

  struct Request {
    std::string method;
    std::string url;           // http or https
    HTTPHeaders headers = {};  // besides Host, Connection, User-Agent, Accept and Content-Length
    std::string body = {};
  };

  /// Sends one request and gives whatever the server answers, status codes of failures included. `timeout` is in
  /// seconds, whole ones when it is at least one: no single wait for the peer takes longer, and the exchange no longer
  /// than four times that (curl, for https: once), besides resolving the name, which takes what the system's resolver
  /// takes. `environment` says where to look for curl (PATH) and to keep its files (TMPDIR). Raising `stop`, when there
  /// is one, ends the exchange as an I/O error.
  /// Throws HTTPClientError, as an I/O error too when a header or the method holds what no request may.
  static HTTPClientResponse send(const Request& request, double timeout, const Environment& environment,
                                 const StopSignal* stop = nullptr);
};

}  // namespace tidra
