// The sentence that a refused call tells.
#pragma once

#include <string>

namespace tidra {

/// The what() of the `Error` that the call throws; a text that no message equals when it throws none.
template <class Error, class Call>
std::string messageOf(Call&& call) {
  try {
    call();
  } catch (const Error& error) {
    return error.what();
  }
  return "(nothing was thrown)";
}

}  // namespace tidra
