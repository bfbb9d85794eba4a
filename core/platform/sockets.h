// Stream sockets over IPv4. Every socket is closed when a program is started, and none ever blocks: each wait has a
// time-out and ends when a signal is raised. Nothing throws: the answers are values.
#pragma once

#include <netinet/in.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "core/base/errors.h"
#include "core/platform/file_descriptor.h"
#include "core/platform/stop_signal.h"

namespace tidra {

/// The address of a dotted text such as "127.0.0.1"; none for anything else, a host name included.
std::optional<in_addr> ipv4Address(const std::string& text);

/// A socket for listening, which may take an address that connections of an earlier process still linger on.
Outcome<FileDescriptor> makeListeningSocket();

/// Gives the socket its address. Port 0 stands for any that is free.
std::error_code bindSocket(const FileDescriptor& socket, in_addr address, std::uint16_t port);

std::error_code listenForConnections(const FileDescriptor& socket, int backlog);

/// The port of a bound socket.
Outcome<std::uint16_t> boundPort(const FileDescriptor& socket);

/// The next connection, waited for until there is one. operation_canceled once the signal is raised; any other failure
/// concerns this connection, or a shortage of descriptors that lasts while nothing is closed.
Outcome<FileDescriptor> acceptConnection(const FileDescriptor& listening, const StopSignal& stop);

/// What one read gives, at most `mostBytes`; empty when the peer has closed. timed_out when nothing came in time,
/// operation_canceled once the signal is raised.
Outcome<std::string> receiveOnce(const FileDescriptor& connection, std::size_t mostBytes,
                                 std::chrono::milliseconds most, const StopSignal& stop);

/// Sends everything. timed_out when that takes longer than `most` altogether, operation_canceled once the signal is
/// raised. A peer that has gone is a failure and raises no SIGPIPE.
std::error_code sendAll(const FileDescriptor& connection, std::string_view bytes, std::chrono::milliseconds most,
                        const StopSignal& stop);

/// Tells the peer that nothing more is sent, and waits until it closes, at most this long. Closing at once would drop
/// what was sent when the peer has sent more than was read.
void finishSending(const FileDescriptor& connection, std::chrono::milliseconds most, const StopSignal& stop);

}  // namespace tidra
