#include "fleet/http/http_message.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <stdexcept>
#include <utility>

#include "core/base/text.h"

namespace tidra {
namespace {

constexpr std::array<std::pair<int, std::string_view>, 15> reasonPhrases{{
    {200, "OK"},
    {201, "Created"},
    {204, "No Content"},
    {400, "Bad Request"},
    {401, "Unauthorized"},
    {402, "Payment Required"},
    {403, "Forbidden"},
    {404, "Not Found"},
    {405, "Method Not Allowed"},
    {409, "Conflict"},
    {413, "Payload Too Large"},
    {415, "Unsupported Media Type"},
    {429, "Too Many Requests"},
    {500, "Internal Server Error"},
    {503, "Service Unavailable"},
}};

bool isTokenCharacter(char character) {
  return isAsciiAlphanumeric(character) ||
         (character != '\0' && std::string_view("!#$%&'*+-.^_`|~").find(character) != std::string_view::npos);
}

HTTPResponse typed(int status, std::string_view type, std::string body) {
  return {status, {{"Content-Type", std::string(type)}}, std::move(body)};
}

}  // namespace

HTTPResponse HTTPResponse::text(int status, std::string text) {
  return typed(status, "text/plain; charset=utf-8", std::move(text));
}

HTTPResponse HTTPResponse::html(int status, std::string html) {
  return typed(status, "text/html; charset=utf-8", std::move(html));
}

HTTPResponse HTTPResponse::json(int status, std::string json) {
  return typed(status, "application/json; charset=utf-8", std::move(json));
}

HTTPResponse guarded(HTTPResponse response) {
  response.headers["X-Content-Type-Options"] = "nosniff";
  response.headers["Referrer-Policy"] = "no-referrer";
  response.headers["X-Frame-Options"] = "DENY";
  return response;
}

std::string_view reasonPhrase(int status) {
  const auto row = std::find_if(reasonPhrases.begin(), reasonPhrases.end(),
                                [status](const auto& candidate) { return candidate.first == status; });
  return row == reasonPhrases.end() ? "Status" : row->second;
}

bool isHeaderName(std::string_view name) {
  return !name.empty() && std::all_of(name.begin(), name.end(), isTokenCharacter);
}

bool isHeaderValue(std::string_view value) {
  return std::all_of(value.begin(), value.end(), [](char character) {
    const auto byte = static_cast<unsigned char>(character);
    return byte == '\t' || (byte >= 0x20 && byte != 0x7f);
  });
}

std::string serialized(const HTTPResponse& response, bool withBody) {
  std::string text = fmt::format("HTTP/1.1 {} {}\r\n", response.status, reasonPhrase(response.status));
  bool saysCaching = false;
  for (const auto& [name, value] : response.headers) {
    if (!isHeaderName(name) || !isHeaderValue(value)) {
      throw std::invalid_argument("a header of the response cannot be written: " + escapedForTerminal(name));
    }
    const std::string lowered = asciiLowered(name);
    if (lowered == "content-length" || lowered == "connection" || lowered == "server") continue;
    if (lowered == "transfer-encoding") continue;  // would contradict Content-Length
    saysCaching = saysCaching || lowered == "cache-control";
    fmt::format_to(std::back_inserter(text), "{}: {}\r\n", name, value);
  }
  if (!saysCaching) text += "Cache-Control: no-store\r\n";
  fmt::format_to(std::back_inserter(text), "Content-Length: {}\r\nConnection: close\r\nServer: tidra-hub\r\n\r\n",
                 response.body.size());
  if (withBody) text += response.body;
  return text;
}

}  // namespace tidra
