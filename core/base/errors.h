// The error types that cross rooms. Each what() is the sentence shown to the user.
#pragma once

#include <cerrno>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>

namespace tidra {

/// Unusable user input: an option, a path, a file. The terminal program exits with status 2.
class InputError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A JSON document is malformed, lacks a required key or holds a value of the wrong type.
class DecodingError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A value, or the error code of the system call that failed. For failures of one item in a batch.
template <class T>
class [[nodiscard]] Outcome {
 public:
  Outcome(T value) : value_(std::move(value)) {}
  Outcome(std::error_code failure) : failure_(failure) {}

  explicit operator bool() const { return !failure_; }
  T& operator*() { return value_; }
  const T& operator*() const { return value_; }
  T* operator->() { return &value_; }
  const T* operator->() const { return &value_; }
  [[nodiscard]] std::error_code failure() const { return failure_; }

 private:
  T value_{};
  std::error_code failure_;
};

/// Returns this thread's `errno` as an error code.
inline std::error_code lastSystemError() { return {errno, std::generic_category()}; }

/// Converts the result of a system call that returns 0 on success.
[[nodiscard]] inline std::error_code errorOf(int result) { return result == 0 ? std::error_code{} : lastSystemError(); }

}  // namespace tidra
