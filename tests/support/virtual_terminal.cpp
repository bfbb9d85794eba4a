#include "tests/support/virtual_terminal.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>
#include <vterm.h>
#ifdef __APPLE__
#include <util.h>
#else
#include <pty.h>
#endif

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <system_error>

#include "core/base/display_text.h"
#include "core/platform/file_descriptor.h"
#include "core/platform/pipe.h"

namespace tidra {
namespace {

/// From the shell: the job's process, its stops, its exit status.
struct JobNews {
  char kind = 0;  // 'p', 's' or 'x'
  int value = 0;
};

void sendNews(int descriptor, char kind, int value) {
  const JobNews news{kind, value};
  [[maybe_unused]] const auto written = ::write(descriptor, &news, sizeof news);
}

/// Runs the job in the foreground. After a stop each byte of `commands` continues it. The hang-up of the terminal is
/// left to the job: SIGHUP does not end this process, which reports the job's status.
[[noreturn]] void leadSession(const std::function<int()>& program, int news, int commands) {
  for (const int signal : {SIGTTOU, SIGHUP}) ::signal(signal, SIG_IGN);
  const pid_t job = ::fork();
  if (job == 0) {
    ::setpgid(0, 0);
    ::tcsetpgrp(STDIN_FILENO, ::getpid());
    for (const int signal : {SIGTTOU, SIGINT, SIGTERM, SIGHUP, SIGTSTP, SIGCONT, SIGWINCH}) ::signal(signal, SIG_DFL);
    ::close(news);
    ::close(commands);
    ::_exit(program());
  }
  ::setpgid(job, job);
  ::tcsetpgrp(STDIN_FILENO, job);
  sendNews(news, 'p', job);
  int status = 0;
  while (::waitpid(job, &status, WUNTRACED) == job && WIFSTOPPED(status)) {
    ::tcsetpgrp(STDIN_FILENO, ::getpid());
    sendNews(news, 's', WSTOPSIG(status));
    char command = 0;
    if (::read(commands, &command, 1) != 1) ::_exit(0);
    ::tcsetpgrp(STDIN_FILENO, job);
    ::kill(-job, SIGCONT);
  }
  sendNews(news, 'x', WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status));
  ::_exit(0);
}

std::function<int()> replacedBy(std::vector<std::string> command, std::map<std::string, std::string> environment,
                                std::string folder) {
  return [=] {
    std::vector<std::string> texts = command;
    std::vector<std::string> variables;
    for (const auto& [name, value] : environment) variables.push_back(name + "=" + value);
    const auto pointers = [](std::vector<std::string>& from) {
      std::vector<char*> list;
      for (std::string& text : from) list.push_back(text.data());
      list.push_back(nullptr);
      return list;
    };
    if (::chdir(folder.c_str()) == 0)
      ::execve(command.front().c_str(), pointers(texts).data(), pointers(variables).data());
    return 127;
  };
}

}  // namespace

/// The state that the terminal's output makes.
class VirtualTerminal::Emulator {
 public:
  explicit Emulator(TerminalSize size) : vterm_(::vterm_new(size.rows, size.columns)), size_(size) {
    ::vterm_set_utf8(vterm_, 1);
    screen_ = ::vterm_obtain_screen(vterm_);
    static const VTermScreenCallbacks callbacks = [] {
      VTermScreenCallbacks made{};
      made.settermprop = &Emulator::onProperty;
      return made;
    }();
    ::vterm_screen_set_callbacks(screen_, &callbacks, this);
    ::vterm_screen_enable_altscreen(screen_, 1);
    ::vterm_screen_reset(screen_, 1);
  }
  ~Emulator() { ::vterm_free(vterm_); }
  Emulator(const Emulator&) = delete;
  Emulator& operator=(const Emulator&) = delete;

  void feed(std::string_view bytes) {
    output += bytes;
    ::vterm_input_write(vterm_, bytes.data(), bytes.size());
  }

  void resize(TerminalSize size) {
    size_ = size;
    ::vterm_set_size(vterm_, size.rows, size.columns);
  }

  VTermScreenCell cell(std::size_t row, std::size_t column) const {
    VTermScreenCell found{};
    ::vterm_screen_get_cell(screen_, {static_cast<int>(row), static_cast<int>(column)}, &found);
    return found;
  }

  TerminalSize size() const { return size_; }

  std::string output;
  bool isAlternate = false;

 private:
  static int onProperty(VTermProp property, VTermValue* value, void* self) {
    auto& emulator = *static_cast<Emulator*>(self);
    if (property == VTERM_PROP_ALTSCREEN) emulator.isAlternate = value->boolean != 0;
    return 1;
  }

  VTerm* vterm_;
  VTermScreen* screen_ = nullptr;
  TerminalSize size_;
};

struct VirtualTerminal::Job {
  FileDescriptor master;
  FileDescriptor news;
  FileDescriptor commands;
  termios modes{};  // at the end of the output
  pid_t shell = -1;
  pid_t process = -1;
  bool stopped = false;
  std::optional<int> status;
};

VirtualTerminal::VirtualTerminal(TerminalSize size, std::vector<std::string> command,
                                 std::map<std::string, std::string> environment, std::string folder)
    : VirtualTerminal(size, replacedBy(std::move(command), std::move(environment), std::move(folder))) {}

VirtualTerminal::VirtualTerminal(TerminalSize size, std::function<int()> program)
    : emulator_(std::make_unique<Emulator>(size)), job_(std::make_unique<Job>()) {
  std::array<int, 2> news{};
  std::array<int, 2> commands{};
  if (!openPipe(news) || !openPipe(commands)) throw std::system_error(errno, std::generic_category(), "pipe");
  const winsize window{size.rows, size.columns, 0, 0};
  int master = -1;
  job_->shell = ::forkpty(&master, nullptr, nullptr, &window);
  if (job_->shell < 0) throw std::system_error(errno, std::generic_category(), "forkpty");
  if (job_->shell == 0) {
    ::close(news[0]);
    ::close(commands[1]);
    leadSession(program, news[1], commands[0]);
  }
  ::fcntl(master, F_SETFD, FD_CLOEXEC);
  ::fcntl(master, F_SETFL, O_NONBLOCK);
  ::close(news[1]);
  ::close(commands[0]);
  job_->master = FileDescriptor(master);
  job_->news = FileDescriptor(news[0]);
  job_->commands = FileDescriptor(commands[1]);
}

VirtualTerminal::~VirtualTerminal() {
  if (job_->process > 0 && !job_->status) ::kill(-job_->process, SIGKILL);
  ::kill(job_->shell, SIGKILL);
  ::waitpid(job_->shell, nullptr, 0);
}

void VirtualTerminal::type(std::string_view bytes) {
  while (!bytes.empty() && job_->master) {
    const auto count = ::write(job_->master.get(), bytes.data(), bytes.size());
    if (count > 0) bytes.remove_prefix(static_cast<std::size_t>(count));
    if (count < 0 && errno != EINTR && errno != EAGAIN) return;
    if (count < 0) receive(100);
  }
}

void VirtualTerminal::resize(TerminalSize size) {
  const winsize window{size.rows, size.columns, 0, 0};
  emulator_->resize(size);
  ::ioctl(job_->master.get(), TIOCSWINSZ, &window);  // sends SIGWINCH to the job
}

void VirtualTerminal::signalJob(int signal) {
  if (waitUntil([&] { return job_->process > 0; })) ::kill(job_->process, signal);
}

void VirtualTerminal::continueJob() {
  job_->stopped = false;
  [[maybe_unused]] const auto written = ::write(job_->commands.get(), "f", 1);
}

void VirtualTerminal::hangUp() { job_->master.reset(); }

void VirtualTerminal::note(char kind, int value) {
  if (kind == 'p') job_->process = value;
  if (kind == 's') job_->stopped = true;
  if (kind == 'x') job_->status = value;
}

/// Takes what arrives first, output or news, within the time.
void VirtualTerminal::receive(int milliseconds) {
  std::array<pollfd, 2> watched{pollfd{job_->master ? job_->master.get() : -1, POLLIN, 0},
                                pollfd{job_->news ? job_->news.get() : -1, POLLIN, 0}};
  ::poll(watched.data(), watched.size(), milliseconds);
  if (watched[0].revents != 0) {
    std::array<char, 65536> bytes;
    const auto count = ::read(job_->master.get(), bytes.data(), bytes.size());
    if (count > 0) emulator_->feed({bytes.data(), static_cast<std::size_t>(count)});
    if (count == 0 || (count < 0 && errno != EINTR && errno != EAGAIN)) {
      ::tcgetattr(job_->master.get(), &job_->modes);
      job_->master.reset();
    }
  }
  if (watched[1].revents != 0) {
    JobNews news;
    if (::read(job_->news.get(), &news, sizeof news) == sizeof news)
      note(news.kind, news.value);
    else
      job_->news.reset();
  }
}

bool VirtualTerminal::waitUntil(const std::function<bool()>& holds) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes{1};
  while (!holds()) {
    if ((!job_->master && !job_->news) || std::chrono::steady_clock::now() > deadline) return false;
    receive(1000);
  }
  return true;
}

bool VirtualTerminal::waitForText(std::string_view text) {
  return waitUntil([&] { return shows(text); });
}

bool VirtualTerminal::waitForNoText(std::string_view text) {
  return waitUntil([&] { return !shows(text); });
}

bool VirtualTerminal::waitForStop() {
  return waitUntil([&] { return job_->stopped || job_->status; });
}

std::optional<int> VirtualTerminal::waitForExit() {
  // The last output may be on its way when the job has ended.
  waitUntil([&] { return job_->status && !job_->master; });
  return job_->status;
}

std::string VirtualTerminal::line(std::size_t row) const {
  std::string text;
  for (std::size_t column = 0; column < emulator_->size().columns; ++column) text += cellAt(row, column).text;
  text.erase(text.find_last_not_of(' ') + 1);
  return text;
}

std::string VirtualTerminal::text() const {
  std::string text;
  for (std::size_t row = 0; row < emulator_->size().rows; ++row) text += line(row) + '\n';
  return text;
}

TerminalCell VirtualTerminal::cellAt(std::size_t row, std::size_t column) const {
  const VTermScreenCell cell = emulator_->cell(row, column);
  TerminalCell found{.text = cell.chars[0] == 0 ? " " : "",
                     .look = {.bold = cell.attrs.bold != 0,
                              .reverse = cell.attrs.reverse != 0,
                              .colored = !VTERM_COLOR_IS_DEFAULT_FG(&cell.fg),
                              .coloredBackground = !VTERM_COLOR_IS_DEFAULT_BG(&cell.bg)}};
  if (found.look.colored && VTERM_COLOR_IS_INDEXED(&cell.fg)) found.color = cell.fg.indexed.idx;
  if (cell.chars[0] == static_cast<std::uint32_t>(-1)) return found;  // the second half of a wide character
  for (std::size_t i = 0; i < VTERM_MAX_CHARS_PER_CELL && cell.chars[i] != 0; ++i)
    appendUtf8(found.text, static_cast<char32_t>(cell.chars[i]));
  return found;
}

bool VirtualTerminal::isOnAlternateScreen() const { return emulator_->isAlternate; }
bool VirtualTerminal::isCursorVisible() const {
  // The emulator at times brings a hidden cursor back with the other screen.
  const std::string& output = emulator_->output;
  const auto hidden = output.rfind("\x1b[?25l");
  const auto shown = output.rfind("\x1b[?25h");
  return hidden == std::string::npos || (shown != std::string::npos && hidden < shown);
}
bool VirtualTerminal::takesMouse() const {
  // The emulator overlooks the second mode of a sequence.
  const std::string& output = emulator_->output;
  const auto on = output.rfind("1000h");
  const auto off = output.rfind("1000l");
  return on != std::string::npos && (off == std::string::npos || off < on);
}

bool VirtualTerminal::isRaw() const {
  termios modes = job_->modes;
  if (job_->master) ::tcgetattr(job_->master.get(), &modes);
  return (modes.c_lflag & (ICANON | ECHO | ISIG)) == 0;
}

std::size_t VirtualTerminal::bytesReceived() const { return emulator_->output.size(); }
const std::string& VirtualTerminal::output() const { return emulator_->output; }

}  // namespace tidra
