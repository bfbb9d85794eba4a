// Wakes a thread that polls.
#pragma once

#include <array>
#include <cerrno>
#include <system_error>

#include "core/base/errors.h"
#include "core/platform/file_descriptor.h"
#include "core/platform/pipe.h"

namespace tidra {

/// Self-pipe: any thread may wake, any number of times; one thread polls and clears.
class WakePipe {
 public:
  /// Throws std::system_error when no descriptors are left.
  WakePipe() {
    std::array<int, 2> ends{-1, -1};
    if (!openPipe(ends)) throw std::system_error(lastSystemError(), "no pipe can be opened");
    reading_ = FileDescriptor(ends[0]);
    writing_ = FileDescriptor(ends[1]);
    for (const int end : ends) ::fcntl(end, F_SETFL, O_NONBLOCK);
  }

  void wake() noexcept {
    // A full pipe is readable already.
    while (::write(writing_.get(), "", 1) < 0 && errno == EINTR) {
    }
  }

  /// Readable from wake() until clear().
  int descriptor() const { return reading_.get(); }

  void clear() noexcept {
    std::array<char, 256> bytes;
    while (::read(reading_.get(), bytes.data(), bytes.size()) > 0) {
    }
  }

 private:
  FileDescriptor reading_;
  FileDescriptor writing_;
};

}  // namespace tidra
