// Every list that a person reads fits its terminal, in UTF-8 and in ASCII, with dates and sizes whole.
#include "core/base/text.h"
#include "tests/cli/cli_fixture.h"
#include "tests/support/matchers.h"

namespace tidra {
namespace {

using testing::ContainsRegex;

class Screens : public CliTest {
 protected:
  Screens() {
    const std::string place = "code/" + std::string(60, 'w') + " of/tool with a name/";
    tree().writeFile(place + "Cargo.toml");
    for (const char* file : {"target/f", "target/CACHEDIR.TAG"}) tree().writeFile(place + file);
    for (const char* method : {"trash", "quarantine"}) {
      const bool isTrash = method == std::string("trash");
      EXPECT_EQ(clean({"--yes", "--method", method, isTrash ? "code/web" : "code"}).status, 0);
    }
    tree().writeFile(".local/share/Trash/files/odd/f");
    tree().writeFile(".local/share/Trash/info/odd.trashinfo", "Path=/x\nDeletionDate=2020-01-01T00:00:00\n");
  }
};

TEST_F(Screens, FitTheirTerminal) {
  struct Screen {
    Texts command;
    const char* holds;  // whole, however narrow the terminal is
  };
  const std::vector<Screen> screens{
      {{"trash", "list"}, "20[0-9-]+ [0-9]+:[0-9]+"},
      {{"trash", "purge", "--all"}, "\\[y/N\\]"},
      {{"quarantine", "list"}, "20[0-9]+-[0-9]+-[0-9]+"},
      {{"quarantine", "purge", "--all"}, "20[0-9]+-[0-9]+-[0-9]+"},
      {{"history"}, "20[0-9-]+ [0-9]+:[0-9]+(.|\n)*quarantine"},
      {{"history", "1"}, "quarantine(.|\n)*target"},
      {{"undo"}, "quarantine(.|\n)*target"},
      {{"clean", "--force", "--empty-trash", "--category", "agentHost", "--tier", "caution"}, "odd"},
      {{"rules", "packs"}, "elixir"},
      {{"rules", "list"}, "node_modules"},
      {{"trash", "restore", "nothing of this name is there to be restored"}, "tidra: "}};
  for (const char* charset : {"C.UTF-8", "C"}) {
    for (const unsigned short columns : {30, 40, 60, 80, 120, 200}) {
      for (const Screen& screen : screens) {
        const ProgramRun ran = run(screen.command, {.environment = {{"LC_ALL", charset}, {"TERM", "dumb"}},
                                                    .outIsTerminal = true,
                                                    .errIsTerminal = true,
                                                    .columns = columns,
                                                    .typed = "n\n"});
        std::string text = ran.out + ran.err;
        if (const auto question = text.find("[y/N] "); question != std::string::npos) text[question + 5] = '\n';
        EXPECT_THAT(text, ContainsRegex(screen.holds)) << columns;
        for (const std::string& line : linesOf(text)) EXPECT_LE(displayWidth(line), columns) << text;
        const auto isAscii = [](char c) { return static_cast<unsigned char>(c) < 0x80; };
        EXPECT_TRUE(charset != std::string("C") || std::all_of(text.begin(), text.end(), isAscii)) << text;
      }
    }
  }
}

}  // namespace
}  // namespace tidra
