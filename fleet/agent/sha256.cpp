#include "fleet/agent/sha256.h"

#include <openssl/evp.h>

#include <array>
#include <stdexcept>

namespace tidra {

struct Sha256::State {
  EVP_MD* algorithm = nullptr;
  EVP_MD_CTX* context = nullptr;

  ~State() {
    EVP_MD_CTX_free(context);
    EVP_MD_free(algorithm);
  }

  static void require(bool worked) {
    if (!worked) throw std::runtime_error("SHA-256 is not available from the system's cryptographic library.");
  }
};

Sha256::Sha256() : state_(std::make_unique<State>()) {
  state_->algorithm = EVP_MD_fetch(nullptr, "SHA256", nullptr);
  state_->context = EVP_MD_CTX_new();
  State::require(state_->algorithm != nullptr && state_->context != nullptr &&
                 EVP_DigestInit_ex2(state_->context, state_->algorithm, nullptr) == 1);
}

Sha256::~Sha256() = default;

Sha256& Sha256::update(std::string_view bytes) {
  State::require(EVP_DigestUpdate(state_->context, bytes.data(), bytes.size()) == 1);
  return *this;
}

std::string Sha256::finish() {
  constexpr std::size_t digestBytes = 32;
  std::array<unsigned char, digestBytes> digest{};
  State::require(EVP_DigestFinal_ex(state_->context, digest.data(), nullptr) == 1 &&
                 EVP_DigestInit_ex2(state_->context, nullptr, nullptr) == 1);
  constexpr std::string_view digits = "0123456789abcdef";
  std::string text(2 * digestBytes, '0');
  for (std::size_t i = 0; i < digestBytes; ++i) {
    text[2 * i] = digits[digest[i] >> 4U];
    text[2 * i + 1] = digits[digest[i] & 0xFU];
  }
  return text;
}

}  // namespace tidra
