// Runs a program under job control on a terminal whose cells a test reads.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tidra {

struct TerminalSize {
  unsigned short columns = 80;
  unsigned short rows = 24;
};

/// What distinguishes a cell besides its text.
struct CellLook {
  bool bold = false;
  bool reverse = false;
  bool colored = false;            // another foreground than the terminal's
  bool coloredBackground = false;  // another background than the terminal's

  bool operator==(const CellLook&) const = default;
};

struct TerminalCell {
  std::string text;  // one character with its combining marks; a blank where there is none; empty: the second half of
                     // a wide one
  CellLook look;
  std::optional<std::uint8_t> color = {};  // index of the foreground in the palette of 256
};

/// A program on a pseudo-terminal. It is the job of a minimal shell that leads the session, so that it can be stopped
/// and continued. The destructor ends both.
class VirtualTerminal {
 public:
  /// `program` runs in a process of its own and returns the exit status; it may replace that process.
  VirtualTerminal(TerminalSize size, std::function<int()> program);
  /// Runs a program file with this complete environment in a folder.
  VirtualTerminal(TerminalSize size, std::vector<std::string> command, std::map<std::string, std::string> environment,
                  std::string folder);
  ~VirtualTerminal();
  VirtualTerminal(const VirtualTerminal&) = delete;
  VirtualTerminal& operator=(const VirtualTerminal&) = delete;

  /// Types bytes as they come from a keyboard; escape sequences are the caller's.
  void type(std::string_view bytes);
  void resize(TerminalSize size);
  void signalJob(int signal);
  /// What the command `fg` of a shell does.
  void continueJob();
  /// The user closes the window.
  void hangUp();

  /// Reads output until the condition holds. False if that is not so within a minute or before the output ends.
  bool waitUntil(const std::function<bool()>& holds);
  bool waitForText(std::string_view text);
  bool waitForNoText(std::string_view text);
  /// Waits until the job has stopped, or ended.
  bool waitForStop();
  /// 128 + the signal's number of a killed job; nullopt if it does not end within a minute.
  std::optional<int> waitForExit();

  /// Without trailing blanks.
  std::string line(std::size_t row) const;
  /// All lines, each with a line feed.
  std::string text() const;
  bool shows(std::string_view text) const { return this->text().find(text) != std::string::npos; }
  TerminalCell cellAt(std::size_t row, std::size_t column) const;
  CellLook lookAt(std::size_t row, std::size_t column) const { return cellAt(row, column).look; }
  bool isOnAlternateScreen() const;
  bool isCursorVisible() const;
  bool takesMouse() const;
  /// Whether keys arrive unprocessed, one at a time; after the end, whether they still would.
  bool isRaw() const;
  std::size_t bytesReceived() const;
  /// All output since the start.
  const std::string& output() const;

 private:
  class Emulator;
  struct Job;

  void receive(int milliseconds);
  void note(char kind, int value);

  std::unique_ptr<Emulator> emulator_;
  std::unique_ptr<Job> job_;
};

}  // namespace tidra
