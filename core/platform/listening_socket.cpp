#include "core/platform/listening_socket.h"

#include <fmt/format.h>

#include <string_view>
#include <system_error>
#include <utility>

#include "core/platform/sockets.h"

namespace tidra {
namespace {

std::string described(std::string_view call, int reason) {
  return fmt::format("{}() failed: {}", call, std::generic_category().message(reason));
}

}  // namespace

ListeningError::ListeningError(Kind kind, int reason, const std::string& message)
    : std::runtime_error(message), kind_(kind), reason_(reason) {}

ListeningError ListeningError::socket(int reason) { return {Kind::socket, reason, described("socket", reason)}; }

ListeningError ListeningError::bind(int reason) { return {Kind::bind, reason, described("bind", reason)}; }

ListeningError ListeningError::listen(int reason) { return {Kind::listen, reason, described("listen", reason)}; }

ListeningError ListeningError::badAddress(const std::string& host) {
  return {Kind::badAddress, 0, "not an IPv4 address: " + host};
}

ListeningSocket openListeningSocket(const std::string& host, std::uint16_t port, int backlog) {
  auto socket = makeListeningSocket();
  if (!socket) throw ListeningError::socket(socket.failure().value());
  const auto address = ipv4Address(host);
  if (!address) throw ListeningError::badAddress(host);
  if (const auto reason = bindSocket(*socket, *address, port)) throw ListeningError::bind(reason.value());
  if (const auto reason = listenForConnections(*socket, backlog)) throw ListeningError::listen(reason.value());
  const auto bound = boundPort(*socket);
  if (!bound) throw ListeningError::bind(bound.failure().value());
  return {std::move(*socket), *bound};
}

}  // namespace tidra
