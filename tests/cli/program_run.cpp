#include "tests/cli/program_run.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <system_error>
#include <utility>

#include "core/platform/file_descriptor.h"

namespace tidra {
namespace {

void check(bool succeeded, const char* what) {
  if (!succeeded) throw std::system_error(errno, std::generic_category(), what);
}

/// One output stream of the program, with our reading end.
struct Stream {
  FileDescriptor ours;
  FileDescriptor theirs;
  std::string* bytes = nullptr;
};

Stream makePipe(std::string& bytes) {
  std::array<int, 2> ends{};
  check(::pipe(ends.data()) == 0, "pipe");
  for (const int end : ends) ::fcntl(end, F_SETFD, FD_CLOEXEC);
  return {FileDescriptor(ends[0]), FileDescriptor(ends[1]), &bytes};
}

Stream makeTerminal(std::string& bytes) {
  Stream stream{FileDescriptor(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)), {}, &bytes};
  const int ours = stream.ours.get();
  check(ours >= 0 && ::grantpt(ours) == 0 && ::unlockpt(ours) == 0, "posix_openpt");
  stream.theirs = FileDescriptor(::open(::ptsname(ours), O_RDWR | O_NOCTTY | O_CLOEXEC));
  termios settings{};
  check(::tcgetattr(stream.theirs.get(), &settings) == 0, "tcgetattr");
  ::cfmakeraw(&settings);
  ::tcsetattr(stream.theirs.get(), TCSANOW, &settings);
  const winsize size{24, 80, 0, 0};
  check(::ioctl(stream.theirs.get(), TIOCSWINSZ, &size) == 0, "TIOCSWINSZ");
  return stream;
}

pid_t start(const std::vector<std::string>& arguments, const ProgramOptions& options, const Stream& in,
            const Stream& out, const Stream& err) {
  std::vector<std::string> texts{TIDRA_PROGRAM};
  texts.insert(texts.end(), arguments.begin(), arguments.end());
  std::vector<std::string> variables;
  for (const auto& [name, value] : options.environment) variables.push_back(name + "=" + value);
  const auto pointers = [](std::vector<std::string>& from) {
    std::vector<char*> list;
    for (std::string& text : from) list.push_back(text.data());
    list.push_back(nullptr);
    return list;
  };
  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  if (in.theirs) {
    ::posix_spawn_file_actions_adddup2(&actions, in.theirs.get(), STDIN_FILENO);
  } else {
    ::posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  }
  ::posix_spawn_file_actions_adddup2(&actions, out.theirs.get(), STDOUT_FILENO);
  ::posix_spawn_file_actions_adddup2(&actions, err.theirs.get(), STDERR_FILENO);
  ::posix_spawn_file_actions_addchdir_np(&actions, options.folder.c_str());
  // A shell's background job ignores SIGINT, and so would the program.
  posix_spawnattr_t attributes;
  ::posix_spawnattr_init(&attributes);
  sigset_t interrupt;
  sigemptyset(&interrupt);
  sigaddset(&interrupt, SIGINT);
  ::posix_spawnattr_setsigdefault(&attributes, &interrupt);
  ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
  pid_t child = 0;
  errno =
      ::posix_spawn(&child, TIDRA_PROGRAM, &actions, &attributes, pointers(texts).data(), pointers(variables).data());
  ::posix_spawnattr_destroy(&attributes);
  ::posix_spawn_file_actions_destroy(&actions);
  check(errno == 0, TIDRA_PROGRAM);
  return child;
}

/// Reads what has arrived; closes the stream at its end, which a terminal reports as an error (EIO).
void take(Stream& stream) {
  std::array<char, 4096> chunk;
  const auto count = ::read(stream.ours.get(), chunk.data(), chunk.size());
  if (count > 0) {
    stream.bytes->append(chunk.data(), static_cast<std::size_t>(count));
  } else if (count == 0 || errno != EINTR) {
    stream.ours.reset();
  }
}

}  // namespace

ProgramRun runProgram(const std::vector<std::string>& arguments, const ProgramOptions& options) {
  ProgramRun run;
  std::array<Stream, 2> streams{options.outIsTerminal ? makeTerminal(run.out) : makePipe(run.out),
                                options.errIsTerminal ? makeTerminal(run.err) : makePipe(run.err)};
  std::string echo;
  const Stream in = options.typed ? makeTerminal(echo) : Stream{};
  if (options.typed) {
    const auto size = static_cast<ssize_t>(options.typed->size());
    check(::write(in.ours.get(), options.typed->data(), options.typed->size()) == size, "typing");
  }
  const auto started = std::chrono::steady_clock::now();
  const pid_t child = start(arguments, options, in, streams[0], streams[1]);
  for (Stream& stream : streams) stream.theirs.reset();
  const auto deadline = started + std::chrono::minutes{1};
  auto moment = options.moment;
  auto onOutput = options.onOutput;
  while (streams[0].ours || streams[1].ours) {
    std::array<pollfd, 2> watched{pollfd{streams[0].ours.get(), POLLIN, 0}, pollfd{streams[1].ours.get(), POLLIN, 0}};
    std::chrono::milliseconds patience{1000};
    if (moment) {
      const auto left = started + moment->after - std::chrono::steady_clock::now();
      patience = std::clamp(std::chrono::ceil<std::chrono::milliseconds>(left), {}, patience);
    }
    ::poll(watched.data(), watched.size(), static_cast<int>(patience.count()));
    if (moment && std::chrono::steady_clock::now() >= started + moment->after) {
      moment->act(child);
      moment.reset();
      continue;
    }
    if (std::chrono::steady_clock::now() > deadline) ::kill(child, SIGKILL);
    const bool silent = run.err.empty();
    for (std::size_t i = 0; i < streams.size(); ++i) {
      if (watched[i].revents != 0) take(streams[i]);
    }
    if (silent && !run.err.empty() && options.onFirstError) options.onFirstError(child);
    if (onOutput && !run.out.empty() && run.out.find(options.awaited) != std::string::npos) {
      std::exchange(onOutput, nullptr)(child);
    }
  }
  int raw = 0;
  check(::waitpid(child, &raw, 0) == child, "waitpid");
  run.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : 128 + WTERMSIG(raw);
  return run;
}

}  // namespace tidra
