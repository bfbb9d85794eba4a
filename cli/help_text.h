// The help of the commands as the terminal has room for it.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tidra {

/// Breaks lines that are longer than `columns`: descriptions continue below their beginning, what an example does goes
/// below it. Commands stay whole.
std::string fittedHelp(std::string_view help, std::size_t columns);

}  // namespace tidra
