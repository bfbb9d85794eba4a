// Service threads.
#pragma once

#include <functional>
#include <string>
#include <thread>

namespace tidra {

/// Starts a named thread (Linux shows 15 bytes) with all signals blocked, so that the threads that wait for them
/// receive them. Throws std::system_error.
std::thread startServiceThread(const std::string& name, std::function<void()> work);

}  // namespace tidra
