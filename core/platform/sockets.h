// Stream sockets: listening over IPv4, connecting over whatever a name leads to. Every socket is closed when a program
// is started, and none ever blocks: each wait has a time-out and ends when a signal is raised. Nothing throws: the
// answers are values.
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

/// The address of a dotted text such as "127.0.0.1"; none for anything else, a host name included.
std::optional<in_addr> ipv4Address(const std::string& text);

/// A socket for listening, which may take an address that connections of an earlier process still linger on.
Outcome<FileDescriptor> makeListeningSocket();

/// Gives the socket its address. Port 0 stands for any that is free.
[[nodiscard]] std::error_code bindSocket(const FileDescriptor& socket, in_addr address, std::uint16_t port);

[[nodiscard]] std::error_code listenForConnections(const FileDescriptor& socket, int backlog);

/// Has the system keep a new connection to itself until its client has sent something, for about a second at most: a
/// server that answers at once then wakes once for it instead of twice. Where the system cannot, nothing changes.
void awaitFirstBytes(const FileDescriptor& listening);

/// The port of a bound socket.
Outcome<std::uint16_t> boundPort(const FileDescriptor& socket);

/// The next connection, waited for until there is one. operation_canceled once the signal is raised; any other failure
/// concerns this connection, or a shortage of descriptors that lasts while nothing is closed.
Outcome<FileDescriptor> acceptConnection(const FileDescriptor& listening, const StopSignal& stop);

/// The next connection if there is one; resource_unavailable_try_again when there is none right now.
Outcome<FileDescriptor> acceptNow(const FileDescriptor& listening);

/// Where a connection may be made to.
struct SocketAddress {
  int family = 0;
  int type = 0;
  int protocol = 0;
  sockaddr_storage name{};
  socklen_t nameSize = 0;
};

/// What a host name or address leads to, in the order to try. Empty when it leads nowhere. Blocks for as long as the
/// system's resolver takes.
std::vector<SocketAddress> resolveAddresses(const std::string& host, std::uint16_t port);

/// timed_out when there is no connection in time, operation_canceled once the signal is raised.
Outcome<FileDescriptor> connectTo(const SocketAddress& address, std::chrono::milliseconds most, const StopSignal& stop);

/// One read into `buffer`, without waiting: how many bytes came, 0 when the peer has closed.
/// resource_unavailable_try_again when there is nothing yet.
Outcome<std::size_t> receiveNow(const FileDescriptor& connection, std::span<char> buffer);

/// One write without waiting: how many bytes went. resource_unavailable_try_again when there is no room. A peer that
/// has gone is a failure and raises no SIGPIPE.
Outcome<std::size_t> sendNow(const FileDescriptor& connection, std::string_view bytes);

/// Tells the peer that nothing more is sent.
[[nodiscard]] std::error_code shutDownSending(const FileDescriptor& connection);

/// What one read gives, at most `mostBytes`; empty when the peer has closed. timed_out when nothing came in time,
/// operation_canceled once the signal is raised.
Outcome<std::string> receiveOnce(const FileDescriptor& connection, std::size_t mostBytes,
                                 std::chrono::milliseconds most, const StopSignal& stop);

/// Sends everything. timed_out when that takes longer than `most` altogether, operation_canceled once the signal is
/// raised. A peer that has gone is a failure and raises no SIGPIPE.
[[nodiscard]] std::error_code sendAll(const FileDescriptor& connection, std::string_view bytes,
                                      std::chrono::milliseconds most, const StopSignal& stop);

/// Tells the peer that nothing more is sent, and waits until it closes, at most this long. Closing at once would drop
/// what was sent when the peer has sent more than was read.
void finishSending(const FileDescriptor& connection, std::chrono::milliseconds most, const StopSignal& stop);

}  // namespace tidra
