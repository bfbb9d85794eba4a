#include "fleet/http/url.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <iterator>

#include "core/base/text.h"
#include "core/base/whole_number.h"

namespace tidra {
namespace {

constexpr std::string_view digits = "0123456789";
constexpr std::string_view hexadecimalDigits = "0123456789abcdefABCDEF";

bool consistsOf(std::string_view text, std::string_view characters) {
  return text.find_first_not_of(characters) == std::string_view::npos;
}

/// Percent-encodes all but letters, digits and `kept`.
std::string encoded(std::string_view text, std::string_view kept) {
  std::string result;
  for (const char character : text) {
    if (isAsciiAlphanumeric(character) || kept.find(character) != std::string_view::npos) {
      result += character;
    } else {
      fmt::format_to(std::back_inserter(result), "%{:02X}", static_cast<unsigned char>(character));
    }
  }
  return result;
}

/// Keeps all characters with a meaning in a path or a query.
std::string repaired(std::string_view text) { return encoded(text, "-._~!$&'()*+,;=:@/?%"); }

bool isHostName(std::string_view host) {
  return !host.empty() && std::all_of(host.begin(), host.end(), [](char character) {
    return isAsciiAlphanumeric(character) || std::string_view("-._~").find(character) != std::string_view::npos;
  });
}

std::optional<std::uint16_t> portOf(std::string_view text) {
  const auto port = wholeNumber<std::uint16_t>(text);
  return port && *port != 0 ? port : std::nullopt;
}

/// Parses "host", "host:port", "host:" or the same with "[address]" into `url`; false for anything else.
bool readAuthority(std::string_view authority, HTTPURL& url) {
  std::string_view rest;
  if (authority.starts_with('[')) {
    const auto end = authority.find(']');
    if (end == std::string_view::npos) return false;
    const std::string_view address = authority.substr(1, end - 1);
    if (address.find(':') == std::string_view::npos || !consistsOf(address, "0123456789abcdefABCDEF:.")) return false;
    url.host = asciiLowered(address);
    rest = authority.substr(end + 1);
  } else {
    const auto end = std::min(authority.find(':'), authority.size());
    if (!isHostName(authority.substr(0, end))) return false;
    url.host = asciiLowered(authority.substr(0, end));
    rest = authority.substr(end);
  }
  if (rest.empty() || rest == ":") return true;
  if (!rest.starts_with(':') || !consistsOf(rest.substr(1), digits)) return false;
  url.port = portOf(rest.substr(1));
  return url.port.has_value();
}

}  // namespace

std::optional<HTTPURL> HTTPURL::parse(std::string_view text) {
  if (std::any_of(text.begin(), text.end(),
                  [](char character) { return static_cast<unsigned char>(character) <= 0x20 || character == 0x7f; })) {
    return std::nullopt;
  }
  const auto schemeEnd = text.find("://");
  if (schemeEnd == std::string_view::npos) return std::nullopt;
  const std::string scheme = asciiLowered(text.substr(0, schemeEnd));
  if (scheme != "http" && scheme != "https") return std::nullopt;
  HTTPURL url;
  url.isSecure = scheme == "https";

  std::string_view rest = text.substr(schemeEnd + 3);
  rest = rest.substr(0, rest.find('#'));
  const auto authorityEnd = std::min(rest.find_first_of("/?"), rest.size());
  if (!readAuthority(rest.substr(0, authorityEnd), url)) return std::nullopt;
  rest.remove_prefix(authorityEnd);
  const auto pathEnd = std::min(rest.find('?'), rest.size());
  url.path = repaired(rest.substr(0, pathEnd));
  if (pathEnd < rest.size()) url.query = repaired(rest.substr(pathEnd + 1));
  return url;
}

std::string HTTPURL::hostField() const {
  std::string field = host.find(':') == std::string::npos ? host : "[" + host + "]";
  if (port) field += ":" + std::to_string(*port);
  return field;
}

std::string HTTPURL::target() const {
  std::string target = path.empty() ? "/" : path;
  if (query) target += "?" + *query;
  return target;
}

std::string HTTPURL::text() const {
  return (isSecure ? "https://" : "http://") + hostField() + path + (query ? "?" + *query : "");
}

std::string percentEncodedComponent(std::string_view component) {
  if (component == ".") return "%2E";
  if (component == "..") return "%2E%2E";
  return encoded(component, "-._~");
}

bool isLocalName(std::string_view host) { return host == "localhost" || host.ends_with(".localhost"); }

bool isAddress(std::string_view host) {
  return host.find(':') != std::string_view::npos || host.find_first_not_of("0123456789.") == std::string_view::npos;
}

bool isLoopback(std::string_view host) {
  return isLocalName(host) || host == "::1" || (isAddress(host) && host.starts_with("127."));
}

std::string urlWithoutUser(const std::string& text) {
  const auto scheme = text.find("://");
  if (scheme == std::string::npos) return text;
  const auto start = scheme + 3;
  const auto end = std::min(text.find_first_of("/?#", start), text.size());
  const auto at = text.rfind('@', end);
  return at == std::string::npos || at < start ? text : text.substr(0, start) + text.substr(at + 1);
}

std::optional<std::string> percentDecoded(std::string_view text) {
  std::string bytes;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      bytes += text[i];
      continue;
    }
    const std::string_view code = text.substr(i + 1, 2);
    if (code.size() != 2 || !consistsOf(code, hexadecimalDigits)) return std::nullopt;
    unsigned value = 0;
    std::from_chars(code.data(), code.data() + code.size(), value, 16);
    bytes += static_cast<char>(value);
    i += 2;
  }
  return bytes;
}

HTTPURL urlBelow(HTTPURL base, const std::vector<std::string>& components) {
  while (base.path.ends_with('/')) base.path.pop_back();
  for (const std::string& component : components) base.path += "/" + percentEncodedComponent(component);
  base.query.reset();
  return base;
}

}  // namespace tidra
