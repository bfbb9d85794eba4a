#include "core/platform/service_thread.h"

#include <pthread.h>
#include <signal.h>

#include <utility>

namespace tidra {
namespace {

void nameThisThread(const std::string& name) {
#ifdef __APPLE__
  ::pthread_setname_np(name.c_str());
#else
  constexpr std::size_t most = 15;  // pthread_setname_np() refuses longer names
  ::pthread_setname_np(::pthread_self(), name.substr(0, most).c_str());
#endif
}

}  // namespace

std::thread startServiceThread(const std::string& name, std::function<void()> work) {
  // Threads inherit the signal mask: blocked before the start, so that no signal is delivered to this one.
  sigset_t all;
  sigset_t former;
  sigfillset(&all);
  ::pthread_sigmask(SIG_SETMASK, &all, &former);
  struct Restore {
    const sigset_t& mask;
    ~Restore() { ::pthread_sigmask(SIG_SETMASK, &mask, nullptr); }
  } const restore{former};
  return std::thread([name, work = std::move(work)] {
    nameThisThread(name);
    work();
  });
}

}  // namespace tidra
