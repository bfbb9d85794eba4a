// Drops root's privileges, since permission bits do not bind root.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#ifdef __linux__
#include <sys/prctl.h>
#endif

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "tests/support/temporary_tree.h"

namespace tidra {

/// Makes the user that WithoutPrivileges continues as the owner of the tree and everything in it.
inline void handOver(const TemporaryTree& tree) {
  if (::geteuid() != 0) return;
  constexpr uid_t nobody = 65534;
  EXPECT_EQ(::lchown(tree.root().c_str(), nobody, nobody), 0);
  for (const auto& entry : std::filesystem::recursive_directory_iterator(tree.root()))
    EXPECT_EQ(::lchown(entry.path().c_str(), nobody, nobody), 0);
}

/// While alive, the effective user of this process is nobody instead of root. No effect for other users.
class WithoutPrivileges {
 public:
  /// Makes the tree readable for everyone, except what the test has closed.
  explicit WithoutPrivileges(const TemporaryTree& tree) : former_(::geteuid()) {
    constexpr uid_t nobody = 65534;
    tree.setMode("", 0755);
    if (former_ == 0 && ::seteuid(nobody) != 0) throw std::system_error(errno, std::generic_category(), "seteuid");
#ifdef __linux__
    // After a change of user a process cannot read its own /proc entries, unlike a program started by that user.
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
