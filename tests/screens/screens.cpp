// Makes the pictures of the terminal's screens: tidra_screens FOLDER [COLUMNS ROWS]
//
// The program itself runs in a virtual terminal over a made-up home on a made-up machine, and keys are typed.
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "cli/program.h"
#include "tests/screens/made_up_home.h"
#include "tests/screens/made_up_machine.h"
#include "tests/screens/screen_picture.h"

namespace tidra {
namespace {

class Photographer {
 public:
  Photographer(std::string folder, TerminalSize size)
      : folder_(std::move(folder)), size_(size), terminal_(size, [this] { return runInHome(); }) {}

  /// Types keys and waits for a text that they bring.
  void type(std::string_view keys, std::string_view shown) {
    terminal_.type(keys);
    if (!terminal_.waitForText(shown))
      throw std::runtime_error(std::string(shown) + " is not shown:\n" + terminal_.text());
  }
  void waitUntil(const std::function<bool()>& holds) {
    if (!terminal_.waitUntil(holds)) throw std::runtime_error("What was waited for did not come:\n" + terminal_.text());
  }
  void resize(unsigned short rows) {
    size_.rows = rows;
    terminal_.resize(size_);
  }
  bool shows(std::string_view text) const { return terminal_.shows(text); }

  /// Writes NAME.svg and NAME-dark.svg when nothing changes any more.
  void take(const std::string& name) {
    settle();
    for (const auto& [theme, suffix] : {std::pair{PictureTheme::light, ""}, std::pair{PictureTheme::dark, "-dark"}}) {
      const std::string path = folder_ + "/" + name + suffix + ".svg";
      std::ofstream file(path, std::ios::binary);
      file << pictureOf(terminal_, size_, "tidra ui ~/code", theme);
      if (!file.flush()) throw std::runtime_error(path + " cannot be written.");
    }
  }

 private:
  int runInHome() const {
    ::clearenv();
    for (const auto& [name, value] : {std::pair{"HOME", home_.path().c_str()}, std::pair{"PATH", "/usr/bin:/bin"},
                                      std::pair{"TERM", "xterm-256color"}, std::pair{"LC_ALL", "C.UTF-8"}})
      ::setenv(name, value, 1);
    if (::chdir(home_.path().c_str()) != 0) return 1;
    std::vector<std::string> arguments{"tidra", "ui", "code"};
    std::vector<char*> pointers;
    for (std::string& argument : arguments) pointers.push_back(argument.data());
    return runTidra(static_cast<int>(pointers.size()), pointers.data());
  }

  /// Until there is no output for a while.
  void settle() {
    using Clock = std::chrono::system_clock;  // the other one may stand
    constexpr std::chrono::milliseconds quiet{600};
    std::size_t received = terminal_.bytesReceived();
    Clock::time_point since = Clock::now();
    waitUntil([&] {
      if (terminal_.bytesReceived() != received) since = Clock::now();
      received = terminal_.bytesReceived();
      return Clock::now() - since > quiet;
    });
  }

  const std::string folder_;
  TerminalSize size_;
  const MadeUpHome home_;
  VirtualTerminal terminal_;
};

/// What the trash has got, seen by its summary, and by the screen of quarantine and trash.
void takeTrash(Photographer& camera, unsigned short rows) {
  for (const auto& [filter, marked] :
       {std::pair{"ml-note", "2 marked"}, std::pair{"docs-site", "3 marked"}, std::pair{".crush", "4 marked"}}) {
    camera.type("/" + std::string(filter) + "\r", "only \"" + std::string(filter) + "\"");
    camera.type("a", marked);
    camera.type("\x1b", "checkout-web");
  }
  camera.resize(std::min<unsigned short>(rows, 14));
  camera.type("d", "[y/N]");
  camera.take("terminal-review");
  camera.type("y", "in the trash");
  camera.type("5", "What the removal did");
  camera.take("terminal-summary");
  camera.type("2", "Quarantine and trash");
  camera.take("terminal-stores");
  camera.type("\x1b", "Project");
  camera.resize(rows);
}

/// A removal in its midst, while others are marked.
void takeRemoval(Photographer& camera) {
  camera.type("/checkout\r", "only \"checkout\"");
  camera.type("a", "marked");
  camera.type("\x1b", "engine");
  camera.type("d", "[y/N]");
  camera.type("mm", "for good? [y/N]");
  MadeUpMachine::holdDeletionsAfter(MadeUpHome::modules * 2 / 5);
  camera.type("y", "removing");
  camera.waitUntil(&MadeUpMachine::holdsDeletions);
  MadeUpMachine::pass(4);
  camera.type("A", " left");
  camera.type("gjjj ", "2 marked");
  camera.take("terminal-removal");
  MadeUpMachine::release();
  camera.waitUntil([&] { return camera.shows("freed;"); });
}

void takeAll(const std::string& folder, TerminalSize size) {
  MadeUpMachine::begin();
  Photographer camera(folder, size);
  camera.waitUntil([&] { return camera.shows("checkout-web") && !camera.shows("Esc stop"); });
  // Opening the details of one reads what its project's repository says.
  camera.type("j ", "1 marked");
  camera.type("jj ", "2 marked");
  camera.type(" ", "3 marked");
  camera.type("kk\r", "Branch");
  camera.type("\x1b", "Project");
  camera.type("h", "3 marked");
  camera.take("terminal-list");
  camera.type("A", "Nothing is marked");
  takeTrash(camera, size.rows);
  takeRemoval(camera);
}

}  // namespace
}  // namespace tidra

int main(int argc, char** argv) try {
  if (argc != 2 && argc != 4) {
    std::fputs("Usage: tidra_screens FOLDER [COLUMNS ROWS]\n", stderr);
    return 2;
  }
  tidra::TerminalSize size{120, 32};
  if (argc == 4)
    size = {static_cast<unsigned short>(std::atoi(argv[2])), static_cast<unsigned short>(std::atoi(argv[3]))};
  tidra::takeAll(argv[1], size);
  return 0;
} catch (const std::exception& error) {
  std::fprintf(stderr, "%s\n", error.what());
  return 1;
}
