// A client that sends raw bytes to a loopback server.
#pragma once

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "core/platform/file_descriptor.h"

namespace tidra {

class LoopbackClient {
 public:
  LoopbackClient() : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    const timeval patience{30, 0};  // turns a hang into a failure
    ::setsockopt(socket_.get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    ::setsockopt(socket_.get(), SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
  }
  explicit LoopbackClient(std::uint16_t port, const char* host = "127.0.0.1") : LoopbackClient() {
    EXPECT_TRUE(connect(port, host));
  }

  bool connect(std::uint16_t port, const char* host = "127.0.0.1") {
    sockaddr_in name{};
    name.sin_family = AF_INET;
    name.sin_port = htons(port);
    ::inet_pton(AF_INET, host, &name.sin_addr);
    return ::connect(socket_.get(), reinterpret_cast<const sockaddr*>(&name), sizeof name) == 0;
  }
  void send(std::string_view bytes) { EXPECT_TRUE(trySend(bytes)); }
  bool trySend(std::string_view bytes) {
    return ::send(socket_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL) == std::ssize(bytes);
  }
  /// Shuts down the sending side.
  void finish() { ::shutdown(socket_.get(), SHUT_WR); }
  /// Reads until the server closes.
  std::string receive() {
    std::string all;
    while (receiveSome(all)) {
    }
    return all;
  }
  /// Reads until the text has arrived or the server closes.
  std::string receiveUntil(std::string_view text) {
    std::string all;
    while (all.find(text) == std::string::npos && receiveSome(all)) {
    }
    return all;
  }
  /// Closes with RST.
  void reset() {
    const linger now{1, 0};
    ::setsockopt(socket_.get(), SOL_SOCKET, SO_LINGER, &now, sizeof now);
    socket_.reset();
  }

 private:
  bool receiveSome(std::string& all) {
    std::vector<char> chunk(65536);
    const ssize_t count = ::recv(socket_.get(), chunk.data(), chunk.size(), 0);
    if (count > 0) all.append(chunk.data(), static_cast<std::size_t>(count));
    return count > 0;
  }

  FileDescriptor socket_;
};

inline std::string exchange(std::uint16_t port, std::string_view request) {
  LoopbackClient client(port);
  client.send(request);
  return client.receive();
}

inline std::size_t openDescriptors() {
  std::size_t count = 0;
  for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator("/dev/fd")) ++count;
  return count;
}

}  // namespace tidra
