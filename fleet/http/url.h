// http and https URLs.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tidra {

struct HTTPURL {
  bool isSecure = false;              // https
  std::string host;                   // in lower case, IPv6 without brackets
  std::optional<std::uint16_t> port;  // absent: the scheme's default
  std::string path;                   // percent-encoded; may be empty
  std::optional<std::string> query;   // after the "?"; absent without one

  /// None unless the text is an http(s) URL with a host, without user name, white space and control characters.
  /// Characters that are invalid in a URL, such as "[" in the path, are percent-encoded; a fragment is dropped.
  static std::optional<HTTPURL> parse(std::string_view text);

  /// The value of the Host header: the host, and the port when the URL has one.
  std::string hostField() const;

  /// The request target: the path ("/" when empty) and the query.
  std::string target() const;

  /// The whole URL.
  std::string text() const;

  bool operator==(const HTTPURL&) const = default;
};

/// True for "localhost" and names below it, which always resolve to this machine.
bool isLocalName(std::string_view host);

/// True for an IPv4 address, or an IPv6 one without brackets.
bool isAddress(std::string_view host);

/// True for a local name and for a loopback address.
bool isLoopback(std::string_view host);

/// Removes user and password from a URL, for people. Accepts any text.
std::string urlWithoutUser(const std::string& text);

/// Percent-encodes one path component, all but letters, digits and "-._~". "." and ".." are encoded too: they would
/// move within the path.
std::string percentEncodedComponent(std::string_view component);

/// Decodes percent-escapes; none when a "%" is not followed by two hexadecimal digits.
std::optional<std::string> percentDecoded(std::string_view text);

/// The URL of components below `base`, whose path is kept as prefix: "https://h/tidra/" and {"api", "a b"} make
/// "https://h/tidra/api/a%20b". A query of the base is dropped.
HTTPURL urlBelow(HTTPURL base, const std::vector<std::string>& components);

}  // namespace tidra
