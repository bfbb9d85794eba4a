// HTTP/1.1 requests and responses as values.
#pragma once

#include <map>
#include <string>
#include <string_view>

namespace tidra {

/// Header names and values. In received messages names are in lower case, values are trimmed, and repeated names are
/// joined with ", ".
using HTTPHeaders = std::map<std::string, std::string>;

/// A request as a server received it.
struct HTTPRequest {
  std::string method;                        // as sent, such as "GET"
  std::string path;                          // the target before any "?", still percent-encoded
  std::map<std::string, std::string> query;  // decoded; the last value of a repeated key
  HTTPHeaders headers;
  std::string body;

  bool operator==(const HTTPRequest&) const = default;
};

/// A response to be sent.
struct HTTPResponse {
  int status = 200;
  HTTPHeaders headers;  // names as written on the wire
  std::string body;

  // Each sets its Content-Type; the bytes are UTF-8.
  static HTTPResponse text(int status, std::string text);
  static HTTPResponse html(int status, std::string html);
  static HTTPResponse json(int status, std::string json);

  bool operator==(const HTTPResponse&) const = default;
};

/// Adds headers against MIME sniffing, clickjacking (framing) and leaking URLs (`Referrer-Policy`).
HTTPResponse guarded(HTTPResponse response);

/// A response as a client received it.
struct HTTPClientResponse {
  int status = 0;
  HTTPHeaders headers;
  std::string body;

  bool operator==(const HTTPClientResponse&) const = default;
};

/// The reason phrase of a status code; "Status" for an unknown one.
std::string_view reasonPhrase(int status);

/// True for a valid header name (an HTTP token).
bool isHeaderName(std::string_view name);

/// Prevents header injection: false for values with line ends or other control characters.
bool isHeaderValue(std::string_view value);

/// Returns the bytes for the wire. Sets Content-Length, Connection and Server; Cache-Control defaults to "no-store".
/// Without `withBody` (HEAD) Content-Length still is the body's. Throws std::invalid_argument for an invalid header.
std::string serialized(const HTTPResponse& response, bool withBody);

}  // namespace tidra
