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
  std::string host;                   // in lower case, an IPv6 address without its brackets
  std::optional<std::uint16_t> port;  // absent: the scheme's own
  std::string path;                   // percent-encoded; may be empty
  std::optional<std::string> query;   // what follows "?"; absent without one

  /// None for what is no http(s) URL with a host, or holds a user name, white space or control characters. Characters
  /// that a URL cannot hold, such as "[" in the path, are percent-encoded; a fragment is dropped.
  static std::optional<HTTPURL> parse(std::string_view text);

  /// What the Host line says: the host, and the port when the URL names one.
  std::string hostField() const;

  /// What the request line asks for: the path ("/" when empty) and the query.
  std::string target() const;

  /// The whole URL.
  std::string text() const;

  bool operator==(const HTTPURL&) const = default;
};

/// True for "localhost" and the names below it, which always mean the machine itself.
bool isLocalName(std::string_view host);

/// True for an IPv4 address, or an IPv6 one without its brackets.
bool isAddress(std::string_view host);

/// True for a local name and for an address at which only the machine itself answers.
bool isLoopback(std::string_view host);

/// The text of a URL without the user and password that it may hold, for people. Any text may be given.
std::string urlWithoutUser(const std::string& text);

/// One component of a path, with everything but letters, digits and "-._~" percent-encoded. Neither "." nor ".."
/// remains as it is, since both would move within the path.
std::string percentEncodedComponent(std::string_view component);

/// The bytes that a percent-encoded text stands for; none when a "%" is not followed by two hexadecimal digits.
std::optional<std::string> percentDecoded(std::string_view text);

/// The URL of something below `base`, whose own path stays in front: "https://h/tidra/" and {"api", "a b"} give
/// "https://h/tidra/api/a%20b". A query of the base is dropped.
HTTPURL urlBelow(HTTPURL base, const std::vector<std::string>& components);

}  // namespace tidra
