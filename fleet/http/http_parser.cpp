// Guards against request smuggling: what a proxy in front of the hub might parse differently is refused (several
// lengths, a transfer coding, a folded line, a bare CR or LF). Only CR LF ends a header line; Content-Length alone sets
// the body's length.
#include "fleet/http/http_parser.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <optional>
#include <utility>
#include <vector>

#include "core/base/text.h"
#include "core/base/whole_number.h"
#include "fleet/http/http_client.h"
#include "fleet/http/url.h"

namespace tidra {
namespace {

constexpr std::string_view lineEnd = "\r\n";
constexpr std::string_view headEnd = "\r\n\r\n";

std::vector<std::string_view> linesOf(std::string_view head) {
  std::vector<std::string_view> lines;
  for (;;) {
    const auto end = head.find(lineEnd);
    lines.push_back(head.substr(0, end));
    if (end == std::string_view::npos) return lines;
    head.remove_prefix(end + lineEnd.size());
  }
}

void addHeader(HTTPHeaders& headers, std::string_view name, std::string_view value) {
  const auto [entry, isNew] = headers.try_emplace(asciiLowered(name), trimmed(value));
  if (!isNew) entry->second.append(", ").append(trimmed(value));
}

bool isTargetText(std::string_view target) {
  return !target.empty() && std::all_of(target.begin(), target.end(), [](char character) {
    return static_cast<unsigned char>(character) > 0x20 && character != 0x7f;
  });
}

bool isVersion(std::string_view version) {
  return version.size() == 8 && version.starts_with("HTTP/1.") && isAsciiDigit(version[7]);
}

/// Sets method, path and query; false unless the line is three parts with single spaces between them.
bool readRequestLine(std::string_view line, HTTPRequest& request) {
  const auto parts = split(line, ' ');
  if (parts.size() != 3 || !isHeaderName(parts[0]) || !isTargetText(parts[1]) || !isVersion(parts[2])) return false;
  request.method = parts[0];
  const auto pathEnd = std::min(parts[1].find('?'), parts[1].size());
  request.path = parts[1].substr(0, pathEnd);
  if (pathEnd < parts[1].size()) request.query = queryPairs(parts[1].substr(pathEnd + 1));
  return true;
}

/// Adds the line's header; returns the reason when it is refused.
std::optional<std::string> readHeaderLine(std::string_view line, HTTPHeaders& headers) {
  if (line.starts_with(' ') || line.starts_with('\t')) return "a header line is folded";
  const auto colon = line.find(':');
  const std::string_view name = line.substr(0, colon);
  if (colon == std::string_view::npos || !isHeaderName(name)) return "a header line has no proper name";
  const std::string_view value = line.substr(colon + 1);
  if (!isHeaderValue(value)) return "a header value holds a control character";
  const std::string lowered = asciiLowered(name);
  if (lowered == "transfer-encoding") return "Transfer-Encoding is not supported; send Content-Length";
  if ((lowered == "content-length" || lowered == "host") && headers.contains(lowered)) {
    return "there are several " + std::string(lowered == "host" ? "Host" : "Content-Length") + " lines";
  }
  addHeader(headers, name, value);
  return std::nullopt;
}

/// The claimed length, saturated at the largest value; none when it is not a number.
std::optional<std::size_t> lengthOf(std::string_view text) {
  if (text.empty() || text.find_first_not_of("0123456789") != std::string_view::npos) return std::nullopt;
  std::size_t length = 0;
  const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), length);
  return failure == std::errc{} ? length : std::numeric_limits<std::size_t>::max();
}

std::string formDecoded(std::string_view text) {
  std::string spaced(text);
  std::replace(spaced.begin(), spaced.end(), '+', ' ');
  return percentDecoded(spaced).value_or(std::string(text));
}

void readResponseLine(std::string_view line, HTTPHeaders& headers) {
  const auto colon = line.find(':');
  if (colon != std::string_view::npos) addHeader(headers, trimmed(line.substr(0, colon)), line.substr(colon + 1));
}

std::string dechunked(std::string_view rest) {
  std::string body;
  for (;;) {
    const auto end = rest.find(lineEnd);
    if (end == std::string_view::npos) throw HTTPClientError::malformed();
    const std::string_view line = trimmed(rest.substr(0, std::min(end, rest.find(';'))));
    rest.remove_prefix(end + lineEnd.size());
    std::size_t size = 0;
    const auto [last, failure] = std::from_chars(line.data(), line.data() + line.size(), size, 16);
    if (failure != std::errc{} || last != line.data() + line.size()) throw HTTPClientError::malformed();
    if (size == 0) return body;
    if (size > rest.size()) throw HTTPClientError::malformed();
    body += rest.substr(0, size);
    rest.remove_prefix(size);
    if (!rest.starts_with(lineEnd)) throw HTTPClientError::malformed();
    rest.remove_prefix(lineEnd.size());
  }
}

}  // namespace

HTTPRequestReader::State HTTPRequestReader::add(std::string_view bytes) {
  if (state_ != State::head && state_ != State::body) return state_;
  buffer_ += bytes;
  return state_ = state_ == State::head ? takeHead() : takeBody();
}

HTTPRequestReader::State HTTPRequestReader::takeHead() {
  const auto end = buffer_.find(headEnd, searched_);
  if (std::min(end, buffer_.size()) > mostHeadBytes) return State::overlong;
  if (end == std::string::npos) {
    searched_ = buffer_.size() < headEnd.size() ? 0 : buffer_.size() - headEnd.size() + 1;
    return State::head;
  }
  const auto lines = linesOf(std::string_view(buffer_).substr(0, end));
  if (!readRequestLine(lines.front(), request_)) return refuse(400, "the request line is malformed");
  for (std::size_t i = 1; i < lines.size(); ++i) {
    if (auto reason = readHeaderLine(lines[i], request_.headers)) return refuse(400, std::move(*reason));
  }
  if (const auto length = request_.headers.find("content-length"); length != request_.headers.end()) {
    const auto claimed = lengthOf(length->second);
    if (!claimed) return refuse(400, "Content-Length is not a number");
    if (*claimed > maxBodyBytes_) return refuse(413, "body too large");
    bodyBytes_ = *claimed;
  }
  const auto expectation = request_.headers.find("expect");
  awaitsContinue_ = expectation != request_.headers.end() && asciiLowered(expectation->second) == "100-continue";
  buffer_.erase(0, end + headEnd.size());
  return takeBody();
}

HTTPRequestReader::State HTTPRequestReader::takeBody() {
  if (buffer_.size() < bodyBytes_) return State::body;
  hasSurplus_ = buffer_.size() > bodyBytes_;
  buffer_.resize(bodyBytes_);
  request_.body = std::move(buffer_);
  return State::complete;
}

HTTPRequestReader::State HTTPRequestReader::refuse(int status, std::string reason) {
  refusal_ = HTTPResponse::text(status, std::move(reason));
  return State::refused;
}

std::map<std::string, std::string> queryPairs(std::string_view query) {
  std::map<std::string, std::string> pairs;
  for (const std::string_view pair : splitNonEmpty(query, '&')) {
    const auto keyEnd = std::min(pair.find('='), pair.size());
    pairs[formDecoded(pair.substr(0, keyEnd))] = formDecoded(pair.substr(std::min(keyEnd + 1, pair.size())));
  }
  return pairs;
}

std::optional<int> statusCodeOf(std::string_view text) {
  if (text.starts_with('+')) text.remove_prefix(text.starts_with("+-") ? 0 : 1);
  return wholeNumber<int>(text);
}

HTTPClientResponse parseResponse(std::string_view bytes) {
  const auto end = bytes.find(headEnd);
  if (end == std::string_view::npos) throw HTTPClientError::malformed();
  const std::string head = replacingInvalidUtf8(bytes.substr(0, end));
  const std::string_view rest = bytes.substr(end + headEnd.size());
  const auto lines = linesOf(head);
  const auto parts = splitNonEmpty(lines.front(), ' ');
  const auto status = parts.size() < 2 ? std::nullopt : statusCodeOf(parts[1]);
  if (!status) throw HTTPClientError::malformed();

  HTTPClientResponse response{*status, {}, {}};
  for (std::size_t i = 1; i < lines.size(); ++i) readResponseLine(lines[i], response.headers);
  const auto coding = response.headers.find("transfer-encoding");
  const auto length = response.headers.find("content-length");
  if (coding != response.headers.end() && asciiLowered(coding->second).find("chunked") != std::string::npos) {
    response.body = dechunked(rest);
  } else if (length != response.headers.end()) {
    response.body = rest.substr(0, lengthOf(length->second).value_or(rest.size()));
  } else {
    response.body = rest;
  }
  return response;
}

HTTPHeaders lastHeaders(std::string_view heads) {
  HTTPHeaders headers;
  for (const std::string_view line : linesOf(heads)) {
    if (line.starts_with("HTTP/")) {
      headers.clear();
    } else {
      readResponseLine(line, headers);
    }
  }
  return headers;
}

}  // namespace tidra
