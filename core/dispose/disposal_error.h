// Why one item stays where it is.
#pragma once

#include <stdexcept>
#include <string>
#include <system_error>

namespace tidra {

/// what() is the sentence for people, without the item's path. Thrown inside this room; the deletion service turns it
/// into the failure of the item.
class DisposalError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
  explicit DisposalError(std::error_code reason) : std::runtime_error(reason.message()) {}
};

}  // namespace tidra
