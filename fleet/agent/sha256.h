// SHA-256 by OpenSSL's libcrypto, which uses the processor's instructions for it.
#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace tidra {

/// Hashes one text after another. Not to be shared between threads.
class Sha256 {
 public:
  /// Throws std::runtime_error where the library offers no SHA-256.
  Sha256();
  ~Sha256();
  Sha256(const Sha256&) = delete;
  Sha256& operator=(const Sha256&) = delete;

  Sha256& update(std::string_view bytes);

  /// The digest of what was fed since the last one, as 64 lower-case hexadecimal digits.
  std::string finish();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace tidra
