// Between posix_spawn() and exec a child shares our program, our arguments and our open files.
#pragma once

#include <shared_mutex>

namespace tidra {

/// Held shared while a child is spawned. Held exclusively while processes are listed, so that no listed process is a
/// child that still looks like us.
inline std::shared_mutex& spawnLock() {
  static std::shared_mutex lock;
  return lock;
}

}  // namespace tidra
