#include "core/platform/file_lock.h"
#include "tests/cli/cli_fixture.h"
#include "tests/support/matchers.h"

namespace tidra {
namespace {

class HubDemoCommand : public CliTest {
 protected:
  ProgramRun demo(std::vector<std::string> more) const {
    std::vector<std::string> arguments{"hub", "demo", "--data", tree().path("demo")};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return run(arguments);
  }
};

TEST_F(HubDemoCommand, WritesAFleetOnceAndRefusesToTouchIt) {
  EXPECT_EQ(demo({"--dry-run"}).status, 0);
  EXPECT_FALSE(exists("demo"));
  EXPECT_THAT(demo({"--hosts", "3", "--days", "2", "--until", "2026-03-14T10:15:00Z"}),
              succeeds(HasSubstr("3 hosts with ")));
  const auto before = snapshotOf(tree().path("demo"));
  for (const std::vector<std::string>& arguments : std::vector<std::vector<std::string>>{{}, {"--dry-run"}}) {
    const auto again = demo(arguments);
    EXPECT_EQ(again.status, 2);
    EXPECT_THAT(again.err, HasSubstr("is not empty; "));
  }
  const FileLock hub(tree().path("demo/hub.lock"));
  EXPECT_THAT(demo({}), fails(75, HasSubstr("another hub uses the data folder")));
  EXPECT_EQ(snapshotOf(tree().path("demo")), before);
}

TEST_F(HubDemoCommand, BadNumbersAndTimesAreBadInput) {
  for (const auto& [option, value] :
       rowsOf("--hosts => 0 | --hosts => x | --days => -1 | --until => yesterday | --until => 0000-01-20T00:00:00Z | "
              "--seed => one | --data =>"))
    EXPECT_THAT(refused({"hub", "demo", "--data", tree().path("demo"), option, value}), HasSubstr(value));
  EXPECT_FALSE(exists("demo"));
}

}  // namespace
}  // namespace tidra
