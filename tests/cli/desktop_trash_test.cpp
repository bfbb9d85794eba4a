// Compatibility of the trash with the desktop's tools. Skipped without trash-cli.
#include <cstdio>
#include <cstdlib>

#include "core/platform/directory_reader.h"
#include "core/platform/files.h"
#include "tests/cli/cli_fixture.h"
#include "tests/support/matchers.h"
#include "tests/support/temporary_mount.h"

namespace tidra {
namespace {

class DesktopTrash : public CliTest {
 protected:
  void SetUp() override {
    if (std::system("command -v trash-list trash-restore >/dev/null 2>&1") != 0) GTEST_SKIP() << "needs trash-cli";
  }
  /// The output of a command line with this home folder, and $PLACE as a path of any name.
  std::string printed(const std::string& commandLine, const std::string& place) const {
    ::setenv("PLACE", place.c_str(), 1);
    const std::string whole =
        "cd / && env -u XDG_DATA_HOME LC_ALL=C.UTF-8 HOME='" + tree().root() + "' sh -c '" + commandLine + "' 2>&1";
    FILE* pipe = ::popen(whole.c_str(), "r");
    std::string text;
    for (int c = 0; pipe != nullptr && (c = std::fgetc(pipe)) != EOF;) text += static_cast<char>(c);
    if (pipe != nullptr) ::pclose(pipe);
    return text;
  }
  /// Trashes each project's target folder, then lists and restores it with trash-cli.
  void expectEachComesBack(const std::string& below) const {
    for (const std::string name :
         {"plain", "with space", "100%20", "it's \"quoted\"", "über 😀", "two\nlines", "a;b#c"}) {
      const std::string project = below + "/" + name;
      tree().writeFile(project + "/Cargo.toml");
      tree().writeFile(project + "/target/f", name);
      tree().writeFile(project + "/target/CACHEDIR.TAG");
      const std::string place = tree().path(project + "/target");
      const ProgramRun cleaned = run({"clean", "--no-system", "--yes", tree().path(project)});
      ASSERT_EQ(cleaned.status, 0) << cleaned.err;
      ASSERT_FALSE(pathFacts(place)) << name;
      EXPECT_THAT(printed("trash-list", place), HasSubstr(" " + place + "\n"));
      const std::string output = printed("echo 0 | trash-restore \"$PLACE\"", place);
      ASSERT_TRUE(pathFacts(place)) << name << output;
      EXPECT_EQ(*readFile(place + "/f"), name);
    }
  }
};

TEST_F(DesktopTrash, ItsToolsListAndBringBackWhatWasTrashed) { expectEachComesBack("code/odd"); }

TEST_F(DesktopTrash, ItsToolsDoSoOnAnotherVolume) {
  const TemporaryMount mount(tree().makeFolder("volume"));
  if (!mount) GTEST_SKIP() << "mounting needs privileges";
  expectEachComesBack("volume/odd");
}

}  // namespace
}  // namespace tidra
