#include "core/platform/sockets.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>

#include "core/platform/files.h"

namespace tidra {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

#ifdef __linux__
constexpr int noSignal = MSG_NOSIGNAL;
#else
constexpr int noSignal = 0;  // the socket has an option for it instead
#endif

bool isPassing(std::error_code reason) {
  return reason == std::errc::interrupted || reason == std::errc::resource_unavailable_try_again ||
         reason == std::errc::operation_would_block;
}

#ifndef __linux__
/// For macOS, where it has not been compiled or run yet.
FileDescriptor configured(FileDescriptor socket) {
  if (!socket) return socket;
  ::fcntl(socket.get(), F_SETFD, FD_CLOEXEC);
  ::fcntl(socket.get(), F_SETFL, O_NONBLOCK);
#ifdef SO_NOSIGPIPE
  constexpr int on = 1;
  ::setsockopt(socket.get(), SOL_SOCKET, SO_NOSIGPIPE, &on, sizeof on);
#endif
  return socket;
}
#endif

FileDescriptor newSocket(int family, int type, int protocol) {
#ifdef __linux__
  return FileDescriptor(::socket(family, type | SOCK_CLOEXEC | SOCK_NONBLOCK, protocol));
#else
  return configured(FileDescriptor(::socket(family, type, protocol)));
#endif
}

FileDescriptor nextConnection(const FileDescriptor& listening) {
#ifdef __linux__
  return FileDescriptor(::accept4(listening.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
#else
  return configured(FileDescriptor(::accept(listening.get(), nullptr, nullptr)));
#endif
}

/// Polls until the socket is ready; returns no error then. Waits without limit if there is no deadline.
[[nodiscard]] std::error_code waitFor(const FileDescriptor& socket, short event,
                                      std::optional<Clock::time_point> deadline, const StopSignal& stop) {
  for (;;) {
    std::array<pollfd, 2> watched{{{stop.descriptor(), POLLIN, 0}, {socket.get(), event, 0}}};
    int most = -1;
    if (deadline) {
      const auto left = std::chrono::ceil<milliseconds>(*deadline - Clock::now());
      most = static_cast<int>(std::max<milliseconds::rep>(left.count(), 0));
    }
    const int ready = ::poll(watched.data(), watched.size(), most);
    if (ready < 0 && errno == EINTR) continue;
    if (ready < 0) return lastSystemError();
    if (watched[0].revents != 0) return std::make_error_code(std::errc::operation_canceled);
    return ready == 0 ? std::make_error_code(std::errc::timed_out) : std::error_code{};
  }
}

}  // namespace

std::optional<in_addr> ipv4Address(const std::string& text) {
  in_addr address{};
  // inet_pton() would stop at an embedded NUL.
  if (text.find('\0') != std::string::npos || ::inet_pton(AF_INET, text.c_str(), &address) != 1) return std::nullopt;
  return address;
}

Outcome<FileDescriptor> makeListeningSocket() {
  FileDescriptor socket = newSocket(AF_INET, SOCK_STREAM, 0);
  constexpr int on = 1;
  if (!socket || ::setsockopt(socket.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) != 0) return lastSystemError();
  return socket;
}

std::error_code bindSocket(const FileDescriptor& socket, in_addr address, std::uint16_t port) {
  sockaddr_in name{};
  name.sin_family = AF_INET;
  name.sin_addr = address;
  name.sin_port = htons(port);
  return errorOf(::bind(socket.get(), reinterpret_cast<const sockaddr*>(&name), sizeof name));
}

std::error_code listenForConnections(const FileDescriptor& socket, int backlog) {
  return errorOf(::listen(socket.get(), backlog));
}

void awaitFirstBytes([[maybe_unused]] const FileDescriptor& listening) {
#ifdef TCP_DEFER_ACCEPT
  // Deferred connections occupy the SYN queue. Without SYN cookies a SYN flood that fills it would lock out all
  // clients.
  const auto cookies = readFile("/proc/sys/net/ipv4/tcp_syncookies");
  if (!cookies || cookies->starts_with('0')) return;
  constexpr int seconds = 1;
  ::setsockopt(listening.get(), IPPROTO_TCP, TCP_DEFER_ACCEPT, &seconds, sizeof seconds);
#endif
}

Outcome<std::uint16_t> boundPort(const FileDescriptor& socket) {
  sockaddr_in name{};
  socklen_t size = sizeof name;
  if (::getsockname(socket.get(), reinterpret_cast<sockaddr*>(&name), &size) != 0) return lastSystemError();
  return ntohs(name.sin_port);
}

Outcome<FileDescriptor> acceptNow(const FileDescriptor& listening) {
  for (;;) {
    FileDescriptor connection = nextConnection(listening);
    if (connection) return connection;
    const auto reason = lastSystemError();
    if (reason != std::errc::interrupted && reason != std::errc::connection_aborted) return reason;
  }
}

Outcome<FileDescriptor> acceptConnection(const FileDescriptor& listening, const StopSignal& stop) {
  for (;;) {
    if (const auto reason = waitFor(listening, POLLIN, std::nullopt, stop)) return reason;
    auto connection = acceptNow(listening);
    if (connection || !isPassing(connection.failure())) return connection;
  }
}

std::vector<SocketAddress> resolveAddresses(const std::string& host, std::uint16_t port) {
  addrinfo hints{};
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* first = nullptr;
  if (::getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &first) != 0) return {};
  const std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)> list(first, &::freeaddrinfo);
  std::vector<SocketAddress> addresses;
  for (const addrinfo* entry = list.get(); entry != nullptr; entry = entry->ai_next) {
    SocketAddress address{entry->ai_family, entry->ai_socktype, entry->ai_protocol, {}, entry->ai_addrlen};
    if (entry->ai_addrlen > sizeof address.name) continue;
    std::memcpy(&address.name, entry->ai_addr, entry->ai_addrlen);
    addresses.push_back(address);
  }
  return addresses;
}

Outcome<FileDescriptor> connectTo(const SocketAddress& address, milliseconds most, const StopSignal& stop) {
  FileDescriptor socket = newSocket(address.family, address.type, address.protocol);
  if (!socket) return lastSystemError();
  if (::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address.name), address.nameSize) == 0) return socket;
  // After EINTR connect() continues in the background, too.
  if (errno != EINPROGRESS && errno != EINTR) return lastSystemError();
  if (const auto reason = waitFor(socket, POLLOUT, Clock::now() + most, stop)) return reason;
  int result = 0;
  socklen_t size = sizeof result;
  if (::getsockopt(socket.get(), SOL_SOCKET, SO_ERROR, &result, &size) != 0) return lastSystemError();
  if (result != 0) return std::error_code(result, std::generic_category());
  return socket;
}

Outcome<std::size_t> receiveNow(const FileDescriptor& connection, std::span<char> buffer) {
  for (;;) {
    const auto count = ::recv(connection.get(), buffer.data(), buffer.size(), 0);
    if (count >= 0) return static_cast<std::size_t>(count);
    if (errno != EINTR) return lastSystemError();
  }
}

Outcome<std::size_t> sendNow(const FileDescriptor& connection, std::string_view bytes) {
  for (;;) {
    const auto count = ::send(connection.get(), bytes.data(), bytes.size(), noSignal);
    if (count >= 0) return static_cast<std::size_t>(count);
    if (errno != EINTR) return lastSystemError();
  }
}

std::error_code shutDownSending(const FileDescriptor& connection) {
  return errorOf(::shutdown(connection.get(), SHUT_WR));
}

Outcome<std::string> receiveOnce(const FileDescriptor& connection, std::size_t mostBytes, milliseconds most,
                                 const StopSignal& stop) {
  const auto deadline = Clock::now() + most;
  std::string bytes(mostBytes, '\0');
  for (;;) {
    if (const auto reason = waitFor(connection, POLLIN, deadline, stop)) return reason;
    const auto count = receiveNow(connection, bytes);
    if (count) {
      bytes.resize(*count);
      return bytes;
    }
    if (!isPassing(count.failure())) return count.failure();
  }
}

std::error_code sendAll(const FileDescriptor& connection, std::string_view bytes, milliseconds most,
                        const StopSignal& stop) {
  const auto deadline = Clock::now() + most;
  while (!bytes.empty()) {
    if (const auto reason = waitFor(connection, POLLOUT, deadline, stop)) return reason;
    const auto count = sendNow(connection, bytes);
    if (count) {
      bytes.remove_prefix(*count);
    } else if (!isPassing(count.failure())) {
      return count.failure();
    }
  }
  return {};
}

void finishSending(const FileDescriptor& connection, milliseconds most, const StopSignal& stop) {
  if (shutDownSending(connection)) return;
  const auto deadline = Clock::now() + most;
  constexpr std::size_t chunk = 4096;
  for (;;) {
    const auto left = std::chrono::ceil<milliseconds>(deadline - Clock::now());
    if (left.count() <= 0) return;
    const auto rest = receiveOnce(connection, chunk, left, stop);
    if (!rest || rest->empty()) return;
  }
}

}  // namespace tidra
