// The machine of the pictures: what the system says of its disk and clock while the program runs, so that no picture
// shows the machine that it was made on, and a removal can be stopped in its midst.
#pragma once

#include <cstdint>

namespace tidra {

/// For this process and those that it forks afterwards. The volume has 252 GB, of which 70.6 GB are free at first; what
/// is deleted is added.
namespace MadeUpMachine {

/// Maps what the processes share. Once, before anything else.
void begin();

/// Stops deletions of files whose name begins with "module" after so many, and the clock at once.
void holdDeletionsAfter(std::uint64_t files);
bool holdsDeletions();
/// Moves the clock that stands. From now on it goes for the main thread, so that the face shows what is new.
void pass(double seconds);
/// Deletions and clock go on.
void release();

}  // namespace MadeUpMachine

}  // namespace tidra
