// Reading HTTP/1.1 messages: strict with requests, which anybody may send, lenient with responses.
#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "fleet/http/http_message.h"

namespace tidra {

/// Puts one request together from what arrives. Only a request that every server reads the same way is taken.
class HTTPRequestReader {
 public:
  enum class State {
    head,      // more is needed
    body,      // the head is complete, more of the body is needed
    complete,  // request() holds it
    refused,   // refusal() says why
    overlong,  // the head has no end within the limit
  };

  static constexpr std::size_t mostHeadBytes = 64 * 1024;

  explicit HTTPRequestReader(std::size_t maxBodyBytes) : maxBodyBytes_(maxBodyBytes) {}

  /// Takes the next bytes. Nothing is read once the state is complete, refused or overlong.
  State add(std::string_view bytes);

  State state() const { return state_; }
  const HTTPRequest& request() const { return request_; }
  const HTTPResponse& refusal() const { return refusal_; }
  /// How much of the body is here; 0 unless the state is body.
  std::size_t arrivedBodyBytes() const { return state_ == State::body ? buffer_.size() : 0; }
  /// The client sends the body only when it is told to go on. Known when the state is body.
  bool awaitsContinue() const { return awaitsContinue_; }
  /// More has arrived than the request holds.
  bool hasSurplus() const { return hasSurplus_; }

 private:
  State takeHead();
  State takeBody();
  State refuse(int status, std::string reason);

  std::size_t maxBodyBytes_;
  std::size_t bodyBytes_ = 0;
  std::size_t searched_ = 0;  // up to here there is no end of the head
  std::string buffer_;        // of the head, then of the body
  State state_ = State::head;
  HTTPRequest request_;
  HTTPResponse refusal_;
  bool awaitsContinue_ = false;
  bool hasSurplus_ = false;
};

/// The pairs of a query: "+" and percent-escapes decoded, an escape that is none kept as it stands, a key without a "="
/// with an empty value, the last of a repeated key.
std::map<std::string, std::string> queryPairs(std::string_view query);

/// A status code with or without a sign; none when the text is no integer.
std::optional<int> statusCodeOf(std::string_view text);

/// Reads everything that a server has sent until it closed. Throws HTTPClientError::malformed.
HTTPClientResponse parseResponse(std::string_view bytes);

/// The headers of the last message head in a text that holds one or several, as curl writes them.
HTTPHeaders lastHeaders(std::string_view heads);

}  // namespace tidra
