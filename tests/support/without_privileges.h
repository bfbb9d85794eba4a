// Permission bits bind everyone but root, who may be the one running the tests.
#pragma once

#include <unistd.h>

#ifdef __linux__
#include <sys/prctl.h>
#endif

#include <cerrno>
#include <cstdlib>
#include <system_error>

#include "tests/support/temporary_tree.h"

namespace tidra {

/// Makes the effective user of this process nobody instead of root, as long as it lives. Changes nothing for anyone
/// else.
class WithoutPrivileges {
 public:
  /// The tree becomes readable for everyone but for what the test has closed.
  explicit WithoutPrivileges(const TemporaryTree& tree) : former_(::geteuid()) {
    constexpr uid_t nobody = 65534;
    tree.setMode("", 0755);
    if (former_ == 0 && ::seteuid(nobody) != 0) throw std::system_error(errno, std::generic_category(), "seteuid");
#ifdef __linux__
    // A process that changed its user loses sight of its own descriptors in /proc, which a program started by that user
    // would have.
    ::prctl(PR_SET_DUMPABLE, 1);
#endif
  }
  ~WithoutPrivileges() {
    if (::geteuid() != former_ && ::seteuid(former_) != 0) std::abort();
  }
  WithoutPrivileges(const WithoutPrivileges&) = delete;
  WithoutPrivileges& operator=(const WithoutPrivileges&) = delete;

 private:
  uid_t former_;
};

}  // namespace tidra
