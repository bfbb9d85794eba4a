// Runs commands in turn, round after round, and prints their times side by side. Only the ratios count: a machine's
// speed drifts, and the runs of one round drift together.
//
//   tidra_bench_compare ROUNDS warm|cold [prepare=COMMAND] NAME=COMMAND…
//
// "prepare" runs before every command and is not timed. A COMMAND is split at blanks; its output is discarded. The
// others are compared with the first command. "cold" drops the page cache before every run, which needs root.
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

extern char** environ;

namespace {

struct Contender {
  std::string name;
  std::vector<std::string> words;
  std::vector<double> seconds;
  long peakKilobytes = 0;
};

Contender parse(const char* argument) {
  const char* equals = std::strchr(argument, '=');
  if (equals == nullptr) return {argument, {}, {}, 0};
  Contender contender{{argument, equals}, {}, {}, 0};
  std::istringstream words(equals + 1);
  for (std::string word; words >> word;) contender.words.push_back(word);
  return contender;
}

bool dropPageCache() {
  ::sync();
  std::FILE* control = std::fopen("/proc/sys/vm/drop_caches", "w");
  if (control == nullptr) return false;
  const bool written = std::fputs("3\n", control) >= 0;
  return std::fclose(control) == 0 && written;
}

void run(Contender& contender) {
  std::vector<char*> arguments;
  for (std::string& word : contender.words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  ::posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  const auto started = std::chrono::steady_clock::now();
  pid_t child = 0;
  const int failure = ::posix_spawnp(&child, arguments[0], &actions, nullptr, arguments.data(), environ);
  ::posix_spawn_file_actions_destroy(&actions);
  if (failure != 0) return;
  int status = 0;
  rusage usage{};
  ::wait4(child, &status, 0, &usage);
  contender.seconds.push_back(std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count());
  contender.peakKilobytes = std::max(contender.peakKilobytes, usage.ru_maxrss);
}

double median(std::vector<double> values) {
  if (values.empty()) return 0;
  std::sort(values.begin(), values.end());
  const std::size_t middle = values.size() / 2;
  return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

/// The median over the rounds of the first command's time divided by the other's.
double ratioOfFirst(const Contender& first, const Contender& other) {
  std::vector<double> ratios;
  for (std::size_t i = 0; i < std::min(first.seconds.size(), other.seconds.size()); ++i) {
    ratios.push_back(first.seconds[i] / other.seconds[i]);
  }
  return median(ratios);
}

void print(const std::vector<Contender>& contenders) {
  std::printf("  %-24s %10s %10s %10s %9s   %s\n", "", "median s", "min s", "max s", "peak MB", "first / this");
  for (const Contender& contender : contenders) {
    if (contender.seconds.empty()) continue;
    const auto [fastest, slowest] = std::minmax_element(contender.seconds.begin(), contender.seconds.end());
    std::printf("  %-24s %10.3f %10.3f %10.3f %9.1f", contender.name.c_str(), median(contender.seconds), *fastest,
                *slowest, static_cast<double>(contender.peakKilobytes) / 1024.0);
    if (&contender == &contenders.front()) {
      std::printf("\n");
    } else {
      std::printf("   %.2f\n", ratioOfFirst(contenders.front(), contender));
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 4) {
    std::fprintf(stderr, "usage: %s ROUNDS warm|cold NAME=COMMAND...\n", argv[0]);
    return 2;
  }
  const int rounds = std::atoi(argv[1]);
  const bool cold = std::strcmp(argv[2], "cold") == 0;
  std::vector<Contender> contenders;
  for (int i = 3; i < argc; ++i) contenders.push_back(parse(argv[i]));
  Contender preparation;
  if (contenders.front().name == "prepare") {
    preparation = contenders.front();
    contenders.erase(contenders.begin());
  }
  const auto prepare = [&] {
    if (!preparation.words.empty()) run(preparation);
  };
  if (!cold) {
    for (Contender& contender : contenders) {
      prepare();
      run(contender);  // fills the cache; not counted
      contender.seconds.clear();
    }
  }
  for (int round = 0; round < rounds; ++round) {
    for (Contender& contender : contenders) {
      prepare();
      if (cold && !dropPageCache()) {
        std::printf("  (not measured: only root may drop the page cache)\n");
        return 0;
      }
      run(contender);
    }
  }
  print(contenders);
  return 0;
}
