// Stream sockets: listening on IPv4, connecting to any address family. All are close-on-exec and non-blocking: waits
// end at their timeout, if any, and when the stop signal is raised. Failures are returned, not thrown.
#pragma once

#include <netinet/in.h>
#include <sys/socket.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "core/base/errors.h"
#include "core/platform/file_descriptor.h"
#include "core/platform/stop_signal.h"

namespace tidra {

/// Parses a dotted IPv4 address; nullopt for anything else, host names included.
std::optional<in_addr> ipv4Address(const std::string& text);

/// Creates a socket for listening with SO_REUSEADDR: connections of an earlier process in TIME_WAIT do not block
/// bind().
Outcome<FileDescriptor> makeListeningSocket();

/// Binds the socket. Port 0 picks a free one.
[[nodiscard]] std::error_code bindSocket(const FileDescriptor& socket, in_addr address, std::uint16_t port);

[[nodiscard]] std::error_code listenForConnections(const FileDescriptor& socket, int backlog);

/// Sets TCP_DEFER_ACCEPT: the kernel reports a connection once its first bytes arrive (after about a second at most),
/// which saves the server one wake-up. Best effort.
void awaitFirstBytes(const FileDescriptor& listening);

/// Returns the port of a bound socket.
Outcome<std::uint16_t> boundPort(const FileDescriptor& socket);

/// Waits for the next connection. operation_canceled once the signal is raised; other failures concern this connection,
/// or a lack of descriptors that lasts until some are closed.
Outcome<FileDescriptor> acceptConnection(const FileDescriptor& listening, const StopSignal& stop);

/// Accepts without blocking; resource_unavailable_try_again when no connection is pending.
Outcome<FileDescriptor> acceptNow(const FileDescriptor& listening);

/// A resolved address to connect to.
struct SocketAddress {
  int family = 0;
  int type = 0;
  int protocol = 0;
  sockaddr_storage name{};
  socklen_t nameSize = 0;
};

/// Resolves a host name or address, in the order to try; empty if unknown. Blocks as long as the system's resolver
/// does.
std::vector<SocketAddress> resolveAddresses(const std::string& host, std::uint16_t port);

/// Fails with timed_out, or operation_canceled once the signal is raised.
Outcome<FileDescriptor> connectTo(const SocketAddress& address, std::chrono::milliseconds most, const StopSignal& stop);

/// One non-blocking read; returns the number of bytes, 0 when the peer has closed. resource_unavailable_try_again when
/// nothing is available yet.
Outcome<std::size_t> receiveNow(const FileDescriptor& connection, std::span<char> buffer);

/// One non-blocking write; returns the number of bytes. resource_unavailable_try_again when the send buffer is full. A
/// closed peer is a failure and raises no SIGPIPE.
Outcome<std::size_t> sendNow(const FileDescriptor& connection, std::string_view bytes);

/// Half-closes the connection (SHUT_WR).
[[nodiscard]] std::error_code shutDownSending(const FileDescriptor& connection);

/// Returns the bytes of one read, at most `mostBytes`; empty when the peer has closed. Fails with timed_out, or
/// operation_canceled once the signal is raised.
Outcome<std::string> receiveOnce(const FileDescriptor& connection, std::size_t mostBytes,
                                 std::chrono::milliseconds most, const StopSignal& stop);

/// Sends everything. `most` bounds the whole transfer: timed_out after it, operation_canceled once the signal is
/// raised. A closed peer is a failure and raises no SIGPIPE.
[[nodiscard]] std::error_code sendAll(const FileDescriptor& connection, std::string_view bytes,
                                      std::chrono::milliseconds most, const StopSignal& stop);

/// Lingering close: closing with unread input makes the kernel send RST, which can destroy the response. Half-closes,
/// then reads and discards until the peer closes, at most `most`.
void finishSending(const FileDescriptor& connection, std::chrono::milliseconds most, const StopSignal& stop);

}  // namespace tidra
