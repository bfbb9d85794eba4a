// SHA-256 from OpenSSL's libcrypto, which uses the CPU's SHA instructions.
#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace tidra {

/// Incremental and reusable. Not thread-safe.
class Sha256 {
 public:
  /// Throws std::runtime_error when the library has no SHA-256.
  Sha256();
  ~Sha256();
  Sha256(const Sha256&) = delete;
  Sha256& operator=(const Sha256&) = delete;

  Sha256& update(std::string_view bytes);

  /// The digest of everything since the last one, 64 lower-case hexadecimal digits.
  std::string finish();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace tidra
