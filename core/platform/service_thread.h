// Threads that serve beside the program's own work.
#pragma once

#include <functional>
#include <string>
#include <thread>

namespace tidra {

/// Starts a thread with a name, of which Linux shows the first 15 bytes. It takes no signals, so that they reach the
/// threads that wait for them. Throws std::system_error.
std::thread startServiceThread(const std::string& name, std::function<void()> work);

}  // namespace tidra
