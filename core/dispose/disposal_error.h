// Why one item stays where it is.
#pragma once

#include <fmt/format.h>

#include <stdexcept>
#include <string>
#include <system_error>

#include "core/base/text.h"

namespace tidra {

/// what() is the sentence for people, without the item's path. Thrown inside this room; the deletion service turns it
/// into the failure of the item.
class DisposalError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
  explicit DisposalError(std::error_code reason) : std::runtime_error(reason.message()) {}
};

/// Something else had come into the place of the item, was moved with it, and could not be moved back. what() names
/// where it lies now.
class StrayedError : public DisposalError {
 public:
  StrayedError(std::error_code reason, const std::string& place)
      : DisposalError(fmt::format("was replaced by something else in this moment, which could not be moved back ({}); "
                                  "look for it at {}",
                                  reason.message(), escapedForTerminal(place))) {}
};

}  // namespace tidra
