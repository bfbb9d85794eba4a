#include "app/terminal/terminal_session.h"

#include <poll.h>
#include <signal.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <clocale>
#include <exception>

#include "app/terminal/curses_screen.h"
#include "app/terminal/emergency_exit.h"
#include "core/base/errors.h"
#include "core/base/text.h"
#include "core/platform/process_runner.h"
#include "core/platform/wake_pipe.h"

namespace tidra {
namespace {

constexpr std::array endingSignals{SIGINT, SIGTERM, SIGHUP};

// Written by the handlers.
std::atomic<WakePipe*> signalPipe{nullptr};
std::atomic<int> endedBy{0};
std::atomic<bool> wantsStop{false};
std::atomic<bool> wantsRedraw{false};
std::atomic<bool> wasContinued{false};

void wakeLoop() {
  const int formerError = errno;
  if (WakePipe* pipe = signalPipe.load()) pipe->wake();
  errno = formerError;
}

void endAtOnce(int signal) {
  ProcessRunner::endRunning();
  EmergencyExit::restoreTerminal();
  ::_exit(128 + signal);
}

/// The loop ends the program in order. A second signal, for one that hangs, ends it at once.
void onEndingSignal(int signal) {
  int none = 0;
  if (endedBy.compare_exchange_strong(none, signal) || signal == SIGHUP) return wakeLoop();
  endAtOnce(signal);
}

/// Faults, which come again when the handler returns, without it.
constexpr std::array faultSignals{SIGABRT, SIGSEGV, SIGBUS, SIGFPE, SIGILL};

void onFault(int) { EmergencyExit::restoreTerminal(); }

void onScreenSignal(int signal) {
  if (signal == SIGTSTP) wantsStop = true;
  if (signal == SIGWINCH) wantsRedraw = true;
  if (signal == SIGCONT) wasContinued = true;
  wakeLoop();
}

}  // namespace

/// Restores the former handlers in its destructor.
class TerminalSignalHandlers {
 public:
  TerminalSignalHandlers() {
    endedBy = 0;
    for (const int signal : endingSignals) install(signal, &onEndingSignal, Unless::ignored);
    for (const int signal : faultSignals) install(signal, &onFault, Unless::taken);
    install(SIGQUIT, &endAtOnce, Unless::ignored);
    for (const int signal : {SIGTSTP, SIGWINCH, SIGCONT}) install(signal, &onScreenSignal, Unless::never);
  }
  ~TerminalSignalHandlers() {
    for (const auto& [signal, action] : former_) ::sigaction(signal, &action, nullptr);
  }
  TerminalSignalHandlers(const TerminalSignalHandlers&) = delete;
  TerminalSignalHandlers& operator=(const TerminalSignalHandlers&) = delete;

 private:
  enum class Unless { never, ignored, taken };  // what of the former action keeps it: nohup, a sanitizer

  void install(int signal, void (*handler)(int), Unless unless) {
    struct sigaction action {};
    struct sigaction former {};
    action.sa_handler = handler;
    action.sa_flags = unless == Unless::taken ? SA_RESETHAND : SA_RESTART;
    sigemptyset(&action.sa_mask);
    ::sigaction(signal, nullptr, &former);
    if (unless == Unless::ignored && former.sa_handler == SIG_IGN) return;
    if (unless == Unless::taken && former.sa_handler != SIG_DFL) return;
    ::sigaction(signal, &action, nullptr);
    former_.emplace_back(signal, former);
  }

  std::vector<std::pair<int, struct sigaction>> former_;
};

/// The charset of the locale's variables, with which ncurses writes characters.
class TerminalLocale {
 public:
  TerminalLocale() : former_(std::setlocale(LC_CTYPE, nullptr)) {
    // A locale that is not installed keeps "C"; its charset is UTF-8 nearly always.
    if (std::setlocale(LC_CTYPE, "") == nullptr) std::setlocale(LC_CTYPE, "C.UTF-8");
  }
  ~TerminalLocale() { std::setlocale(LC_CTYPE, former_.c_str()); }
  TerminalLocale(const TerminalLocale&) = delete;
  TerminalLocale& operator=(const TerminalLocale&) = delete;

 private:
  std::string former_;
};

namespace {

std::string variable(const Environment& environment, const char* name) {
  const auto found = environment.find(name);
  return found == environment.end() ? std::string() : found->second;
}

CursesScreen::Choices screenChoices(const TerminalSession::Choices& choices) {
  const std::string type = variable(choices.environment, "TERM");
  if (::isatty(STDIN_FILENO) != 1 || ::isatty(STDOUT_FILENO) != 1)
    throw InputError("tidra ui needs a terminal; tidra scan prints the same results as lines");
  if (type.empty() || type == "dumb")
    throw InputError("This terminal cannot show screens (TERM is " + (type.empty() ? "not set" : type) +
                     "); tidra scan prints the same results as lines");
  return {.terminalType = type, .mouse = choices.mouse, .colored = variable(choices.environment, "NO_COLOR").empty()};
}

}  // namespace

/// Which keys are none that someone pressed after reading the screen: text from a terminal that does not mark what is
/// pasted, and repetitions of a key that is held down. Terminals do not say so; hands are slower.
class HastyKeys {
 public:
  void note(std::vector<Key>& keys) {
    for (Key& key : keys) key.isHasty = isRepetition(key) || keys.size() > 1;
  }

 private:
  bool isRepetition(const Key& key) {
    constexpr std::chrono::milliseconds longestPause{700};  // the first repetition comes later than the others
    const auto now = std::chrono::steady_clock::now();
    const bool isSame = key.kind == last_.kind && key.character == last_.character;
    const auto pause = now - lastAt_;
    last_ = key;
    lastAt_ = now;
    return isSame && pause < longestPause;
  }

  Key last_;
  std::chrono::steady_clock::time_point lastAt_{};
};

struct TerminalSession::State {
  explicit State(const Choices& choices) : screen(screenChoices(choices)), emergency(screen.leavingBytes()) {
    signalPipe = &pipe;
  }
  ~State() { signalPipe = nullptr; }
  State(const State&) = delete;
  State& operator=(const State&) = delete;

  WakePipe pipe;
  TerminalSignalHandlers handlers;  // before ncurses, which keeps those of others
  TerminalLocale locale;
  SavedTerminal saved;
  CursesScreen screen;
  EmergencyExit emergency;
  HastyKeys hasty;
};

TerminalSession::TerminalSession(const Choices& choices) : state_(std::make_unique<State>(choices)) {}
TerminalSession::~TerminalSession() = default;

ScreenSize TerminalSession::size() const { return state_->screen.size(); }

void TerminalSession::show(const Frame& frame) { state_->screen.show(frame); }

void TerminalSession::redraw() { state_->screen.adoptSize(); }

TerminalSession::Events TerminalSession::wait(int wakeDescriptor, std::optional<std::chrono::milliseconds> most) {
  std::array<pollfd, 3> watched{pollfd{STDIN_FILENO, POLLIN, 0}, pollfd{state_->pipe.descriptor(), POLLIN, 0},
                                pollfd{wakeDescriptor, POLLIN, 0}};
  ::poll(watched.data(), watched.size(), most ? static_cast<int>(most->count()) : -1);
  Events events;
  if (watched[1].revents != 0) state_->pipe.clear();
  if (wantsStop.exchange(false)) {
    suspend();
    events.redraw = true;
  }
  if (wasContinued.exchange(false)) {  // after SIGSTOP, without suspend(): a shell used the terminal meanwhile
    state_->screen.leave();
    state_->screen.enter();
    events.redraw = true;
  }
  if (wantsRedraw.exchange(false)) {
    state_->screen.adoptSize();
    events.redraw = true;
  }
  if (const int signal = endedBy; signal != 0) events.endedBy = signal;
  events.lost = (watched[0].revents & (POLLHUP | POLLERR | POLLNVAL)) != 0;
  events.woken = watched[2].revents != 0;
  if ((watched[0].revents & POLLIN) != 0) {
    while (const auto key = state_->screen.readKey()) events.keys.push_back(*key);
    state_->hasty.note(events.keys);
  }
  return events;
}

void TerminalSession::suspend() {
  state_->screen.leave();
  struct sigaction handler {};
  struct sigaction standard {};
  standard.sa_handler = SIG_DFL;
  sigemptyset(&standard.sa_mask);
  ::sigaction(SIGTSTP, &standard, &handler);
  ::kill(0, SIGTSTP);  // the whole job: a script that waits for this program stops with it
  ::sigaction(SIGTSTP, &handler, nullptr);
  state_->screen.enter();
  wasContinued = false;
}

void TerminalSession::copyToClipboard(std::string_view text) {
  state_->screen.writeSequence("\x1b]52;c;" + base64Encoded(text) + "\a");
}

}  // namespace tidra
