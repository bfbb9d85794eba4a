// Pipes within this process.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <array>

namespace tidra {

/// Opens a pipe with O_CLOEXEC on both ends. Returns false and sets errno on failure.
inline bool openPipe(std::array<int, 2>& ends) {
#ifdef __linux__
  return ::pipe2(ends.data(), O_CLOEXEC) == 0;
#else
  if (::pipe(ends.data()) != 0) return false;
  for (const int end : ends) ::fcntl(end, F_SETFD, FD_CLOEXEC);
  return true;
#endif
}

}  // namespace tidra
