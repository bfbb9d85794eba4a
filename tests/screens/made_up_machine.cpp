// These functions take the place of the C library's for the program that is linked with them.
#include "tests/screens/made_up_machine.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <new>
#include <string_view>
#include <system_error>

namespace tidra {
namespace {

constexpr std::int64_t nanosPerSecond = 1'000'000'000;
constexpr std::uint64_t never = ~std::uint64_t{0};

/// In memory that forked processes share.
struct Shared {
  std::atomic<std::int64_t> freedBytes{0};
  std::atomic<std::uint64_t> deletedModules{0};
  std::atomic<std::uint64_t> mostModules{never};
  std::atomic<std::int64_t> standsAt{0};  // nanoseconds of the monotonic clock; 0: it goes
  std::atomic<std::int64_t> facePass{0};  // since then it goes for the face's thread, which shows news in its own time
  std::atomic<std::int64_t> behind{0};    // nanoseconds that it has lost
};

Shared* shared = nullptr;

std::int64_t realNanos() {
  timespec now{};
  ::syscall(SYS_clock_gettime, CLOCK_MONOTONIC, &now);
  return now.tv_sec * nanosPerSecond + now.tv_nsec;
}

std::int64_t faceNanos() {
  const std::int64_t standing = shared->standsAt;
  const std::int64_t since = shared->facePass;
  if (standing == 0) return realNanos() - shared->behind;
  return since == 0 ? standing : standing + realNanos() - since;
}

std::int64_t shownNanos() {
  const bool isFace = ::getpid() == ::gettid();
  const std::int64_t standing = shared->standsAt;
  return isFace || standing == 0 ? faceNanos() : standing;
}

/// Waits while deletions are held, and a minute at most: whoever holds them may have ended.
void passModule() {
  if (shared->deletedModules++ < shared->mostModules) return;
  const timespec pause{.tv_sec = 0, .tv_nsec = 5'000'000};
  for (int pauses = 0; shared->mostModules != never && pauses < 12'000; ++pauses)
    ::syscall(SYS_nanosleep, &pause, nullptr);
}

}  // namespace

void MadeUpMachine::begin() {
  void* memory = ::mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) throw std::system_error(errno, std::generic_category(), "mmap");
  shared = new (memory) Shared;
}

void MadeUpMachine::holdDeletionsAfter(std::uint64_t files) {
  shared->deletedModules = 0;
  shared->mostModules = files;
  shared->facePass = 0;
  shared->standsAt = faceNanos();
}

bool MadeUpMachine::holdsDeletions() { return shared->deletedModules > shared->mostModules; }

void MadeUpMachine::pass(double seconds) {
  shared->standsAt += static_cast<std::int64_t>(seconds * nanosPerSecond);
  shared->facePass = realNanos();
}

void MadeUpMachine::release() {
  shared->behind = realNanos() - faceNanos();
  shared->standsAt = 0;
  shared->mostModules = never;
}

}  // namespace tidra

extern "C" {

// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): the names of the C library are reserved ones
int statvfs(const char*, struct statvfs* volume) noexcept {
  constexpr std::uint64_t block = 4096;
  *volume = {};
  volume->f_bsize = volume->f_frsize = block;
  volume->f_blocks = 252'000'000'000 / block;
  volume->f_bavail = volume->f_bfree = static_cast<std::uint64_t>(70'600'000'000 + tidra::shared->freedBytes) / block;
  return 0;
}

int unlinkat(int folder, const char* name, int flags) noexcept {
  struct stat entry {};
  const bool isFile = ::fstatat(folder, name, &entry, AT_SYMLINK_NOFOLLOW) == 0 && S_ISREG(entry.st_mode);
  if (isFile && std::string_view(name).starts_with("module")) tidra::passModule();
  const int result = static_cast<int>(::syscall(SYS_unlinkat, folder, name, flags));
  if (result == 0 && isFile && entry.st_nlink == 1) tidra::shared->freedBytes += entry.st_blocks * 512;
  return result;
}

int clock_gettime(clockid_t clock, struct timespec* now) noexcept {
  if (clock != CLOCK_MONOTONIC || tidra::shared == nullptr)
    return static_cast<int>(::syscall(SYS_clock_gettime, clock, now));
  const std::int64_t nanos = tidra::shownNanos();
  *now = {.tv_sec = nanos / tidra::nanosPerSecond, .tv_nsec = nanos % tidra::nanosPerSecond};
  return 0;
}

}  // extern "C"
