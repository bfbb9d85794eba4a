// HTTP/1.1 parsers: strict with requests, which anybody may send, lenient with responses.
#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "core/base/byte_units.h"
#include "fleet/http/http_message.h"

namespace tidra {

/// Parses one request incrementally. Accepts only requests that every server reads the same way.
class HTTPRequestReader {
 public:
  enum class State {
    head,      // more is needed
    body,      // the head is complete, more of the body is needed
    complete,  // request() is valid
    refused,   // refusal() is the response
    overlong,  // the head exceeds mostHeadBytes
  };

  static constexpr std::size_t mostHeadBytes = 64_KiB;

  explicit HTTPRequestReader(std::size_t maxBodyBytes) : maxBodyBytes_(maxBodyBytes) {}

  /// Adds the next bytes; ignored once the state is complete, refused or overlong.
  State add(std::string_view bytes);

  State state() const { return state_; }
  const HTTPRequest& request() const { return request_; }
  const HTTPResponse& refusal() const { return refusal_; }
  /// Bytes of the body so far; 0 unless the state is body.
  std::size_t arrivedBodyBytes() const { return state_ == State::body ? buffer_.size() : 0; }
  /// True when the client expects "100 Continue" before it sends the body. Valid from the state body on.
  bool awaitsContinue() const { return awaitsContinue_; }
  /// True when bytes follow the request.
  bool hasSurplus() const { return hasSurplus_; }

 private:
  State takeHead();
  State takeBody();
  State refuse(int status, std::string reason);

  std::size_t maxBodyBytes_;
  std::size_t bodyBytes_ = 0;
  std::size_t searched_ = 0;  // no end of the head before this offset
  std::string buffer_;        // the head, then the body
  State state_ = State::head;
  HTTPRequest request_;
  HTTPResponse refusal_;
  bool awaitsContinue_ = false;
  bool hasSurplus_ = false;
};

/// The pairs of a query, decoded ("+" and percent-escapes). An invalid escape is kept literally, a key without "=" has
/// an empty value, the last value of a repeated key wins.
std::map<std::string, std::string> queryPairs(std::string_view query);

/// Parses a status code, with or without a sign; none when the text is not an integer.
std::optional<int> statusCodeOf(std::string_view text);

/// Parses a whole response, read until the server closed. Throws HTTPClientError::malformed.
HTTPClientResponse parseResponse(std::string_view bytes);

/// The headers of the last message head in a text with one or several, as curl's -D writes them.
HTTPHeaders lastHeaders(std::string_view heads);

}  // namespace tidra
