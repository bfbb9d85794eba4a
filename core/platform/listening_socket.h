// Opens the listening socket of a server.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

#include "core/platform/file_descriptor.h"

namespace tidra {

/// Why a server could not listen; what() is the sentence shown to the user.
class ListeningError : public std::runtime_error {
 public:
  enum class Kind { socket, bind, listen, badAddress };

  static ListeningError socket(int reason);  // errno
  static ListeningError bind(int reason);
  static ListeningError listen(int reason);
  static ListeningError badAddress(const std::string& host);

  Kind kind() const { return kind_; }
  int reason() const { return reason_; }  // errno; 0 for a bad address

 private:
  ListeningError(Kind kind, int reason, const std::string& message);

  Kind kind_;
  int reason_;
};

struct ListeningSocket {
  FileDescriptor descriptor;
  std::uint16_t port = 0;  // the port bound, also for a requested port of 0
};

/// Listens on a dotted IPv4 address ("0.0.0.0": all interfaces). Port 0 picks a free one. Throws ListeningError and
/// leaves nothing open.
ListeningSocket openListeningSocket(const std::string& host, std::uint16_t port, int backlog);

}  // namespace tidra
