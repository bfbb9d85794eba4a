#include "core/platform/sockets.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>

namespace tidra {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

#ifdef __linux__
constexpr int noSignal = MSG_NOSIGNAL;
#else
constexpr int noSignal = 0;  // the socket has an option for it instead
#endif

std::error_code answer(int result) { return result == 0 ? std::error_code{} : lastSystemError(); }

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

FileDescriptor newSocket() {
#ifdef __linux__
  return FileDescriptor(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
#else
  return configured(FileDescriptor(::socket(AF_INET, SOCK_STREAM, 0)));
#endif
}

FileDescriptor nextConnection(const FileDescriptor& listening) {
#ifdef __linux__
  return FileDescriptor(::accept4(listening.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
#else
  return configured(FileDescriptor(::accept(listening.get(), nullptr, nullptr)));
#endif
}

/// Sleeps until the socket is ready. None of the reasons when it is; without a deadline it waits as long as it takes.
std::error_code waitFor(const FileDescriptor& socket, short event, std::optional<Clock::time_point> deadline,
                        const StopSignal& stop) {
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
  // A text with a NUL would be read up to there.
  if (text.find('\0') != std::string::npos || ::inet_pton(AF_INET, text.c_str(), &address) != 1) return std::nullopt;
  return address;
}

Outcome<FileDescriptor> makeListeningSocket() {
  FileDescriptor socket = newSocket();
  constexpr int on = 1;
  if (!socket || ::setsockopt(socket.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) != 0) return lastSystemError();
  return socket;
}

std::error_code bindSocket(const FileDescriptor& socket, in_addr address, std::uint16_t port) {
  sockaddr_in name{};
  name.sin_family = AF_INET;
  name.sin_addr = address;
  name.sin_port = htons(port);
  return answer(::bind(socket.get(), reinterpret_cast<const sockaddr*>(&name), sizeof name));
}

std::error_code listenForConnections(const FileDescriptor& socket, int backlog) {
  return answer(::listen(socket.get(), backlog));
}

Outcome<std::uint16_t> boundPort(const FileDescriptor& socket) {
  sockaddr_in name{};
  socklen_t size = sizeof name;
  if (::getsockname(socket.get(), reinterpret_cast<sockaddr*>(&name), &size) != 0) return lastSystemError();
  return ntohs(name.sin_port);
}

Outcome<FileDescriptor> acceptConnection(const FileDescriptor& listening, const StopSignal& stop) {
  for (;;) {
    if (const auto reason = waitFor(listening, POLLIN, std::nullopt, stop)) return reason;
    FileDescriptor connection = nextConnection(listening);
    if (connection) return connection;
    const auto reason = lastSystemError();
    if (!isPassing(reason) && reason != std::errc::connection_aborted) return reason;
  }
}

Outcome<std::string> receiveOnce(const FileDescriptor& connection, std::size_t mostBytes, milliseconds most,
                                 const StopSignal& stop) {
  const auto deadline = Clock::now() + most;
  std::string bytes(mostBytes, '\0');
  for (;;) {
    if (const auto reason = waitFor(connection, POLLIN, deadline, stop)) return reason;
    const auto count = ::recv(connection.get(), bytes.data(), bytes.size(), 0);
    if (count >= 0) {
      bytes.resize(static_cast<std::size_t>(count));
      return bytes;
    }
    if (const auto reason = lastSystemError(); !isPassing(reason)) return reason;
  }
}

std::error_code sendAll(const FileDescriptor& connection, std::string_view bytes, milliseconds most,
                        const StopSignal& stop) {
  const auto deadline = Clock::now() + most;
  while (!bytes.empty()) {
    if (const auto reason = waitFor(connection, POLLOUT, deadline, stop)) return reason;
    const auto count = ::send(connection.get(), bytes.data(), bytes.size(), noSignal);
    if (count >= 0) {
      bytes.remove_prefix(static_cast<std::size_t>(count));
    } else if (const auto reason = lastSystemError(); !isPassing(reason)) {
      return reason;
    }
  }
  return {};
}

void finishSending(const FileDescriptor& connection, milliseconds most, const StopSignal& stop) {
  if (::shutdown(connection.get(), SHUT_WR) != 0) return;
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
