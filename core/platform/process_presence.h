// Whether other processes are there.
#pragma once

#include <cstdint>

namespace tidra {

/// The id of this process.
std::int32_t currentProcess();

/// True when a process of that id exists, whoever's it is. As everywhere, 0 and negative numbers stand for groups of
/// processes.
bool processExists(std::int32_t process);

}  // namespace tidra
