// A TOCTOU attack: while root removes something in a folder of another user, that user keeps swapping folders for
// symlinks to files that only root may change.
#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <map>
#include <new>

#include "tests/core/dispose/disposal_fixture.h"

namespace tidra {
namespace {

constexpr uid_t neighbour = 65534;

/// The attacker's process. Its calls may fail: root works in the same folder.
class Neighbour {
 public:
  Neighbour(std::string shared, std::string victim) : shared_(std::move(shared)), victim_(std::move(victim)) {
    void* memory = ::mmap(nullptr, sizeof(Counter), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    swaps_ = new (memory) Counter(0);
    process_ = ::fork();
    if (process_ != 0) return;
    if (::setgid(neighbour) != 0 || ::setuid(neighbour) != 0) ::_exit(1);
    for (unsigned round = 0;; ++round) work(round);
  }
  ~Neighbour() {
    ::kill(process_, SIGKILL);
    ::waitpid(process_, nullptr, 0);
    ::munmap(swaps_, sizeof(Counter));
  }
  Neighbour(const Neighbour&) = delete;
  Neighbour& operator=(const Neighbour&) = delete;

  std::uint64_t swaps() const { return *swaps_; }

 private:
  using Counter = std::atomic<std::uint64_t>;

  void work(unsigned round) {
    for (const char* folder : {"/x", "/x/item", "/x/item/d", "/x/item/d/e", "/x/item/d/e/g"})
      ::mkdir((shared_ + folder).c_str(), 0755);
    for (const char* file : {"/x/item/f", "/x/item/d/f", "/x/item/d/e/f", "/x/item/d/e/g/f"})
      ::close(::creat((shared_ + file).c_str(), 0644));
    constexpr std::array swapped{"/x", "/x/item", "/x/item/d", "/x/item/d/e", "/x/item/d/e/g"};
    const std::string place = shared_ + swapped[round % swapped.size()];
    const std::string aside = shared_ + "/aside" + std::to_string(round % 100);
    for (int i = 0; i < 20; ++i) {
      if (::rename(place.c_str(), aside.c_str()) != 0) continue;
      if (::symlink(victim_.c_str(), place.c_str()) == 0) ++*swaps_;
      ::unlink(place.c_str());
      ::rename(aside.c_str(), place.c_str());
    }
  }

  std::string shared_;
  std::string victim_;
  Counter* swaps_ = nullptr;
  pid_t process_ = 0;
};

class HostileNeighbour : public DisposalTest {};

/// TIDRA_NEIGHBOUR_ROUNDS sets a higher number of rounds.
TEST_F(HostileNeighbour, CannotBendARemovalToWhatIsNotTheirs) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs root and a second user";
  tree_.setMode("", 0755);
  for (const char* file : {"f", "item/f", "item/d/f", "d/f", "d/e/f", "e/f", "e/g/f", "g/f"})
    tree_.writeFile("victim/" + std::string(file), "precious");
  const auto before = snapshotOf(tree_.path("victim"));
  const std::string shared = tree_.makeFolder("shared");
  ASSERT_EQ(::chown(shared.c_str(), neighbour, neighbour), 0);
  const char* asked = std::getenv("TIDRA_NEIGHBOUR_ROUNDS");
  const int rounds = asked != nullptr ? std::atoi(asked) : 400;
  int removed = 0;
  std::map<std::string, int> refusals;
  std::uint64_t swaps = 0;
  {
    const Neighbour hostile(shared, tree_.path("victim"));
    const DisposalMethod methods[]{DisposalMethod::delete_, DisposalMethod::delete_, DisposalMethod::trash,
                                   DisposalMethod::quarantine};
    for (int round = 0; round < rounds; ++round) {
      const auto result = dispose(shared + "/x/item", methods[round % 4]);
      const auto* failure = std::get_if<TidraDeletionFailure>(&result);
      if (failure == nullptr) ++removed;
      if (failure != nullptr) ++refusals[failure->message.substr(0, 20)];
    }
    swaps = hostile.swaps();
  }
  EXPECT_EQ(snapshotOf(tree_.path("victim")), before);
  // Otherwise the test would prove nothing.
  EXPECT_GT(swaps, 0U);
  EXPECT_GT(removed, 0);
  std::string summary = std::to_string(swaps) + " swaps, " + std::to_string(removed) + " removed";
  for (const auto& [message, count] : refusals) summary += "; " + std::to_string(count) + " x " + message;
  RecordProperty("neighbour", summary);
  if (asked != nullptr) std::printf("%s\n", summary.c_str());
}

}  // namespace
}  // namespace tidra
