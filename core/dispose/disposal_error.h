// Reasons why an item stays in place.
#pragma once

#include <fmt/format.h>

#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>

#include "core/base/text.h"

namespace tidra {

/// what() is the sentence shown to the user, without the item's path. Thrown inside this room; the deletion service
/// converts it into the item's failure.
class DisposalError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
  explicit DisposalError(std::error_code reason) : std::runtime_error(reason.message()) {}
};

/// A deletion that has begun is not complete. what() names what is left.
class PartlyRemovedError : public DisposalError {
 public:
  PartlyRemovedError(const std::string& sentence, std::string left) : DisposalError(sentence), left_(std::move(left)) {}

  /// The path of what is left.
  const std::string& left() const { return left_; }

 private:
  std::string left_;
};

/// TOCTOU race lost: another file had replaced the item, was moved instead and could not be moved back. what() names
/// where it is now.
class StrayedError : public DisposalError {
 public:
  StrayedError(std::error_code reason, const std::string& place)
      : DisposalError(fmt::format("was replaced by something else just now, which could not be moved back ({}); "
                                  "look for it at {}",
                                  reason.message(), escapedForTerminal(place))) {}
};

}  // namespace tidra
