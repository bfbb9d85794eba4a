// How a server comes to listen.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

#include "core/platform/file_descriptor.h"

namespace tidra {

/// Why a server could not be opened; what() is the sentence for people.
class ListeningError : public std::runtime_error {
 public:
  enum class Kind { socket, bind, listen, badAddress };

  static ListeningError socket(int reason);  // an errno
  static ListeningError bind(int reason);
  static ListeningError listen(int reason);
  static ListeningError badAddress(const std::string& host);

  Kind kind() const { return kind_; }
  int reason() const { return reason_; }  // the errno; 0 for a bad address

 private:
  ListeningError(Kind kind, int reason, const std::string& message);

  Kind kind_;
  int reason_;
};

struct ListeningSocket {
  FileDescriptor descriptor;
  std::uint16_t port = 0;  // that is listened on
};

/// Listens on a dotted IPv4 address, "0.0.0.0" for all interfaces. Port 0 lets the system choose a free one. Throws
/// ListeningError, and then nothing is left open.
ListeningSocket openListeningSocket(const std::string& host, std::uint16_t port, int backlog);

}  // namespace tidra
