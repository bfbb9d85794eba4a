// The message of an expected exception.
#pragma once

#include <string>

namespace tidra {

/// The what() of the `Error` that the call throws; a text that equals no message when it throws none.
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
