// Scales exhaustive tests.
#pragma once

namespace tidra {

/// The first number, or the second under sanitizers, which are many times slower; more adds nothing there.
constexpr int effort([[maybe_unused]] int usual, [[maybe_unused]] int underSanitizers) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  return underSanitizers;
#else
  return usual;
#endif
}

}  // namespace tidra
