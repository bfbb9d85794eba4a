// Existence of other processes.
#pragma once

#include <cstdint>

namespace tidra {

/// Returns the id of this process.
std::int32_t currentProcess();

/// Whether a process with this id exists, of any user. As with kill(), 0 and negative numbers mean process groups.
[[nodiscard]] bool processExists(std::int32_t process);

}  // namespace tidra
