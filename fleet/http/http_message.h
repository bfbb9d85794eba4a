// Requests and responses of HTTP/1.1, as values.
#pragma once

#include <map>
#include <string>
#include <string_view>

namespace tidra {

/// Names and values of header lines. Of received messages the names are in lower case and the values trimmed; lines
/// that share a name are one value, joined with ", ".
using HTTPHeaders = std::map<std::string, std::string>;

/// What a server was asked.
struct HTTPRequest {
  std::string method;                        // as sent, such as "GET"
  std::string path;                          // the target before any "?", still percent-encoded
  std::map<std::string, std::string> query;  // decoded; of a repeated key the last value
  HTTPHeaders headers;
  std::string body;

  bool operator==(const HTTPRequest&) const = default;
};

/// What a server answers.
struct HTTPResponse {
  int status = 200;
  HTTPHeaders headers;  // names as they are to be written
  std::string body;

  // With the Content-Type of each; the bytes are UTF-8.
  static HTTPResponse text(int status, std::string text);
  static HTTPResponse html(int status, std::string html);
  static HTTPResponse json(int status, std::string json);

  bool operator==(const HTTPResponse&) const = default;
};

/// With headers that keep a browser from guessing the type, framing the answer, or telling other sites its address.
HTTPResponse guarded(HTTPResponse response);

/// What a client was answered.
struct HTTPClientResponse {
  int status = 0;
  HTTPHeaders headers;
  std::string body;

  bool operator==(const HTTPClientResponse&) const = default;
};

/// The words for a status code; "Status" for one that has none here.
std::string_view reasonPhrase(int status);

/// True for what may stand before the colon of a header line.
bool isHeaderName(std::string_view name);

/// True for what may stand behind it: nothing that could end the line or the text.
bool isHeaderValue(std::string_view value);

/// What goes over the wire. Content-Length, Connection and Server are the server's own; Cache-Control is "no-store"
/// unless the response says otherwise. Without `withBody` the head still tells the body's length. Throws
/// std::invalid_argument when a header cannot be written.
std::string serialized(const HTTPResponse& response, bool withBody);

}  // namespace tidra
