#include "fleet/http/http_client.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <iterator>
#include <optional>

#include "core/base/core_info.h"
#include "core/platform/sockets.h"
#include "fleet/http/http_parser.h"
#include "fleet/http/http_transport.h"
#include "fleet/http/url.h"

namespace tidra {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

/// A slow response is allowed; the whole exchange is bounded by four timeouts.
constexpr int waitsOfAnExchange = 4;
constexpr std::size_t pieceBytes = 65536;

/// Truncated to whole seconds from one second on; at least a millisecond, at most a day.
milliseconds waitOf(double timeout) {
  const double seconds = std::isfinite(timeout) ? std::clamp(timeout, 0.001, longestTimeoutSeconds) : 0.001;
  return milliseconds(static_cast<milliseconds::rep>((seconds < 1 ? seconds : std::trunc(seconds)) * 1000));
}

void requireSendable(const HTTPClient::Request& request) {
  if (!isHeaderName(request.method)) throw HTTPClientError::io("the method cannot be sent");
  for (const auto& [name, value] : request.headers) {
    if (!isHeaderName(name)) throw HTTPClientError::io("a header's name cannot be sent");
    // Do not print the value: it may be a secret.
    if (!isHeaderValue(value)) {
      throw HTTPClientError::io("the header " + name + " cannot be sent: its value holds a control character");
    }
  }
}

std::string requestHead(const HTTPClient::Request& request, const HTTPURL& url) {
  std::string head = fmt::format(
      "{} {} HTTP/1.1\r\nHost: {}\r\nConnection: close\r\nUser-Agent: {}\r\n"
      "Accept: application/json, text/plain, */*\r\n",
      request.method, url.target(), url.hostField(), userAgent());
  for (const auto& [name, value] : request.headers) {
    fmt::format_to(std::back_inserter(head), "{}: {}\r\n", name, value);
  }
  fmt::format_to(std::back_inserter(head), "Content-Length: {}\r\n\r\n", request.body.size());
  return head;
}

HTTPClientError failureOf(std::error_code reason) {
  if (reason == std::errc::timed_out) return HTTPClientError::timeout();
  if (reason == std::errc::operation_canceled) return HTTPClientError::io("cancelled");
  return HTTPClientError::io(reason.message());
}

/// One exchange with bounded waits.
class Exchange {
 public:
  Exchange(milliseconds wait, milliseconds most, const StopSignal& stop)
      : wait_(wait), deadline_(Clock::now() + most), stop_(stop) {}

  void connect(const std::vector<SocketAddress>& addresses) {
    std::string lastReason = "no addresses";
    for (const SocketAddress& address : addresses) {
      auto socket = connectTo(address, nextWait(), stop_);
      if (socket) {
        socket_ = std::move(*socket);
        return;
      }
      if (socket.failure() == std::errc::operation_canceled) throw failureOf(socket.failure());
      lastReason = socket.failure().message();
    }
    throw HTTPClientError::connect(lastReason);
  }

  /// Keeps a send failure for receive(): a server may respond early and close, and that response is worth reading.
  void send(std::string_view bytes) {
    while (!bytes.empty() && !sendFailure_) {
      const std::string_view piece = bytes.substr(0, pieceBytes);
      sendFailure_ = sendAll(socket_, piece, nextWait(), stop_);
      bytes.remove_prefix(piece.size());
    }
    if (sendFailure_ == std::errc::timed_out || sendFailure_ == std::errc::operation_canceled) {
      throw failureOf(sendFailure_);
    }
  }

  /// Reads until the peer closes.
  std::string receive() {
    std::string all;
    for (;;) {
      const auto bytes = receiveOnce(socket_, pieceBytes, nextWait(), stop_);
      if (!bytes && sendFailure_ && !all.empty()) return all;
      if (!bytes) throw failureOf(sendFailure_ ? sendFailure_ : bytes.failure());
      if (bytes->empty() && all.empty() && sendFailure_) throw failureOf(sendFailure_);
      if (bytes->empty()) return all;
      all += *bytes;
      if (all.size() > HTTPClient::mostResponseBytes) throw HTTPClientError::io("response too large");
    }
  }

 private:
  milliseconds nextWait() const {
    const auto left = std::chrono::ceil<milliseconds>(deadline_ - Clock::now());
    if (left <= milliseconds(0)) throw HTTPClientError::timeout();
    return std::min(wait_, left);
  }

  const milliseconds wait_;
  const Clock::time_point deadline_;
  const StopSignal& stop_;
  FileDescriptor socket_;
  std::error_code sendFailure_;
};

}  // namespace

HTTPClientError HTTPClientError::badURL(const std::string& url) { return {Kind::badURL, "not an http(s) URL: " + url}; }

HTTPClientError HTTPClientError::resolve(const std::string& host) { return {Kind::resolve, "cannot resolve " + host}; }

HTTPClientError HTTPClientError::connect(const std::string& detail) {
  return {Kind::connect, "cannot connect: " + detail};
}

HTTPClientError HTTPClientError::io(const std::string& detail) { return {Kind::io, "connection error: " + detail}; }

HTTPClientError HTTPClientError::malformed() { return {Kind::malformed, "malformed HTTP response"}; }

HTTPClientError HTTPClientError::timeout() { return {Kind::timeout, "timed out"}; }

HTTPClientError HTTPClientError::noTLSSupport() {
  return {Kind::noTLSSupport, "https needs `curl` on PATH (not found)"};
}

std::string userAgent() { return fmt::format("tidra/{}", TidraCoreInfo::version); }

HTTPClientResponse sendOverSocket(const HTTPClient::Request& request, const HTTPURL& url, milliseconds wait,
                                  milliseconds most, const StopSignal& stop) {
  constexpr std::uint16_t usualPort = 80;
  const auto addresses = resolveAddresses(url.host, url.port.value_or(usualPort));
  if (addresses.empty()) throw HTTPClientError::resolve(url.host);
  Exchange exchange(wait, most, stop);
  exchange.connect(addresses);
  exchange.send(requestHead(request, url));
  exchange.send(request.body);
  return parseResponse(exchange.receive());
}

HTTPClientResponse HTTPClient::send(const Request& request, double timeout, const Environment& environment,
                                    const StopSignal* stop) {
  const auto url = HTTPURL::parse(request.url);
  if (!url) throw HTTPClientError::badURL(request.url);
  requireSendable(request);
  std::optional<StopSignal> never;
  const StopSignal& ending = stop == nullptr ? never.emplace() : *stop;
  if (url->isSecure) return sendWithCurl(request, *url, timeout, environment, ending);
  const milliseconds wait = waitOf(timeout);
  return sendOverSocket(request, *url, wait, waitsOfAnExchange * wait, ending);
}

}  // namespace tidra
