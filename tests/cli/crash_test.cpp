// Fault injection: kills the program at, or injects an error into, each system call that changes files, one run per
// call. Nothing may be lost or half done.
#include <array>
#include <cerrno>
#include <filesystem>
#include <fstream>

#include "core/dispose/freedesktop_trash.h"
#include "core/model/removal_leftover.h"
#include "core/platform/directory_reader.h"
#include "core/platform/files.h"
#include "tests/cli/cli_fixture.h"
#include "tests/support/matchers.h"
#include "tests/support/system_call_breaker.h"

namespace tidra {
namespace {

namespace fs = std::filesystem;

/// Each run has its own home folder with one project and one artefact.
class Crash : public CliTest {
 protected:
  static constexpr std::array errors{ENOSPC, EIO, EACCES, EXDEV};
  static constexpr int mostCalls = 60;

  void SetUp() override {
    if (!canBreakSystemCalls()) GTEST_SKIP() << "one process may not trace another here";
  }

  void begin() {
    home_ = tree().makeFolder("home" + std::to_string(++homes_));
    fillArtefact(place());
  }
  /// Puts the artefact into quarantine, dated long ago.
  void beginInQuarantine() {
    begin();
    const std::string entry = store() + "/20200101T000000-node_modules";
    fs::create_directories(store());
    fs::permissions(store(), fs::perms{0700});
    fs::rename(place(), entry);
    std::ofstream(entry + ".tidra.json") << R"({"originalPath": ")" << place()
                                         << R"(", "quarantinedAt": "2020-01-01T00:00:00Z", "host": "h"})";
  }

  std::string project() const { return home_ + "/code/web"; }
  std::string place() const { return project() + "/node_modules"; }
  std::string store() const { return home_ + "/.tidra/quarantine"; }
  std::string trashFolder(const std::string& name) const { return home_ + "/.local/share/Trash/" + name; }

  std::vector<std::string> clean(const std::string& method) const {
    return {"clean", home_ + "/code", "--no-system", "--no-evidence", "--yes", "--method", method};
  }
  BrokenRun broken(const std::vector<std::string>& arguments, const SystemCallBreak& at) const {
    return runBroken(TIDRA_PROGRAM, arguments, {"HOME=" + home_, "PATH=/nowhere"}, at);
  }
  ProgramRun again(const std::vector<std::string>& arguments) const {
    return run(arguments, {.environment = {{"HOME", home_}, {"PATH", "/nowhere"}}});
  }

  static void fillArtefact(const std::string& folder) {
    fs::create_directories(folder + "/a/b");
    std::ofstream(folder + "/a/b/f") << "one";
    std::ofstream(folder + "/a/g") << "two";
  }
  static bool isWhole(const std::string& folder) {
    const auto one = readFile(folder + "/a/b/f");
    const auto two = readFile(folder + "/a/g");
    return one && *one == "one" && two && *two == "two";
  }
  static bool exists(const std::string& path) { return static_cast<bool>(pathFacts(path)); }
  static std::vector<std::string> namesIn(const std::string& folder) {
    std::vector<std::string> names;
    if (!exists(folder)) return names;
    for (const auto& entry : fs::directory_iterator(folder)) names.push_back(entry.path().filename());
    return names;
  }

  bool isInQuarantine() const {
    for (const std::string& name : namesIn(store())) {
      if (!isWhole(store() + "/" + name)) continue;
      const ProgramRun listed = again({"quarantine", "list", "--json"});
      return listed.status == 0 && listed.out.find('"' + place() + '"') != std::string::npos;
    }
    return false;
  }
  bool isInTrash() const {
    const auto info = readFile(trashFolder("info/node_modules.trashinfo"));
    return info && FreedesktopTrash::pathOf(*info) == place() && isWhole(trashFolder("files/node_modules"));
  }
  /// No manifest or info file without its item.
  void expectNoStray(const std::string& what) const {
    EXPECT_THAT(namesIn(store()), IsEmpty()) << what;
    EXPECT_THAT(namesIn(trashFolder("info")), IsEmpty()) << what;
    EXPECT_THAT(namesIn(trashFolder("files")), IsEmpty()) << what;
  }

  /// Runs `attempt(break)` for each call in turn until it returns that the call was not reached.
  template <class Attempt>
  static void forEveryCall(int error, int atLeast, Attempt attempt) {
    int call = 1;
    while (call <= mostCalls && attempt(SystemCallBreak{call, error})) ++call;
    EXPECT_GT(call, atLeast) << "so many calls change something at the very least";
    EXPECT_LE(call, mostCalls);
  }

  std::string home_;

 private:
  int homes_ = 0;
};

std::string shown(const SystemCallBreak& at, const BrokenRun& ran) {
  return ran.call + ", call " + std::to_string(at.call) + ", error " + std::to_string(at.error) + ", status " +
         std::to_string(ran.status);
}

TEST_F(Crash, KilledWhileTrashingOrQuarantiningTheItemIsHereOrThere) {
  for (const std::string method : {"trash", "quarantine"}) {
    forEveryCall(0, 5, [&](const SystemCallBreak& at) {
      begin();
      const BrokenRun ran = broken(clean(method), at);
      EXPECT_TRUE(isWhole(place()) || (method == "trash" ? isInTrash() : isInQuarantine())) << shown(at, ran);
      if (!exists(place())) {
        EXPECT_EQ(again({"undo", "--yes"}).status, 0) << shown(at, ran);
        EXPECT_TRUE(isWhole(place())) << shown(at, ran);
      }
      EXPECT_EQ(again(clean(method)).status, 0) << shown(at, ran);
      EXPECT_FALSE(exists(place())) << shown(at, ran);
      EXPECT_TRUE(method == "quarantine" || at.call == 1 || !namesIn(trashFolder("files")).empty()) << shown(at, ran);
      return ran.reached;
    });
  }
}

TEST_F(Crash, AnErrorWhileTrashingOrQuarantiningLeavesTheItemAndNoStrayFile) {
  for (const std::string method : {"trash", "quarantine"}) {
    for (const int error : errors) {
      forEveryCall(error, 5, [&](const SystemCallBreak& at) {
        begin();
        const BrokenRun ran = broken(clean(method), at);
        if (ran.status == 0) {
          EXPECT_TRUE(method == "trash" ? isInTrash() : isInQuarantine()) << shown(at, ran);
          EXPECT_FALSE(exists(place())) << shown(at, ran);
        } else {
          EXPECT_EQ(ran.status, 1) << shown(at, ran);
          EXPECT_TRUE(isWhole(place())) << shown(at, ran);
          expectNoStray(shown(at, ran));
        }
        return ran.reached;
      });
    }
  }
}

TEST_F(Crash, BrokenOffWhileRestoringTheItemIsHereOrThere) {
  for (const int error : {0, ENOSPC, EIO, EACCES, EXDEV}) {
    forEveryCall(error, 1, [&](const SystemCallBreak& at) {
      beginInQuarantine();
      fs::remove(project());
      const BrokenRun ran = broken({"quarantine", "restore", "--all"}, at);
      EXPECT_NE(isWhole(place()), isInQuarantine()) << shown(at, ran);
      EXPECT_TRUE(ran.status != 0 || namesIn(store()).empty()) << shown(at, ran);
      EXPECT_EQ(again({"quarantine", "restore", "--all"}).status, 0) << shown(at, ran);
      EXPECT_TRUE(isWhole(place())) << shown(at, ran);
      return ran.reached;
    });
  }
}

TEST_F(Crash, BrokenOffWhileRestoringFromTheTrashTheItemIsHereOrThere) {
  for (const int error : {0, ENOSPC, EIO, EACCES, EXDEV}) {
    forEveryCall(error, 1, [&](const SystemCallBreak& at) {
      begin();
      again(clean("trash"));
      fs::remove(project());
      const BrokenRun ran = broken({"trash", "restore", "node_modules"}, at);
      EXPECT_NE(isWhole(place()), isInTrash()) << shown(at, ran);
      EXPECT_TRUE(ran.status != 0 || namesIn(trashFolder("info")).empty()) << shown(at, ran);
      if (isInTrash()) {
        EXPECT_EQ(again({"trash", "restore", place()}).status, 0) << shown(at, ran);
      }
      for (const std::string& name : namesIn(trashFolder("info"))) {
        fs::last_write_time(trashFolder("info/" + name), fs::file_time_type::clock::now() - std::chrono::hours(1));
      }
      EXPECT_EQ(again({"trash", "purge", "--all", "--yes"}).status, 0) << shown(at, ran);
      expectNoStray(shown(at, ran));
      EXPECT_TRUE(isWhole(place())) << shown(at, ran);
      return ran.reached;
    });
  }
}

TEST_F(Crash, WhatPurgingLeavesTheNextPurgeFinishes) {
  const std::vector<std::string> purge{"quarantine", "purge", "--older-than", "1d", "--yes"};
  for (const int error : {0, ENOSPC, EIO, EACCES, EXDEV}) {
    forEveryCall(error, 4, [&](const SystemCallBreak& at) {
      beginInQuarantine();
      const BrokenRun ran = broken(purge, at);
      EXPECT_TRUE(ran.status != 0 || namesIn(store()).empty()) << shown(at, ran);
      EXPECT_EQ(again(purge).status, 0) << shown(at, ran);
      EXPECT_THAT(namesIn(store()), IsEmpty()) << shown(at, ran);
      return ran.reached;
    });
  }
}

TEST_F(Crash, WhatDeletingLeavesTheNextRunFinishes) {
  for (const int error : {0, ENOSPC, EIO, EACCES, EXDEV}) {
    forEveryCall(error, 4, [&](const SystemCallBreak& at) {
      begin();
      const BrokenRun ran = broken(clean("delete"), at);
      EXPECT_TRUE(isWhole(place()) || !exists(place()) || error == EXDEV) << "half in its place: " << shown(at, ran);
      for (const std::string& name : namesIn(project()))
        EXPECT_TRUE(name == "node_modules" || RemovalLeftover::isEither(name)) << name << ": " << shown(at, ran);
      EXPECT_TRUE(ran.status != 0 || namesIn(project()).empty()) << shown(at, ran);
      EXPECT_EQ(again(clean("delete")).status, 0) << shown(at, ran);
      EXPECT_THAT(namesIn(project()), IsEmpty()) << shown(at, ran);
      return ran.reached;
    });
  }
}

/// Another folder takes the place right before the move, and one more right before the move back.
TEST_F(Crash, AStrangerThatCannotGoBackIsNamedAndNeverRemoved) {
  for (const std::string method : {"delete", "quarantine", "trash"}) {
    begin();
    const std::string output = home_ + "/output";
    int renames = 0;
    const auto swap = [&](const std::string& call) {
      if (call != "renameat2" || ++renames > 2) return;
      if (renames == 1) fs::rename(place(), home_ + "/before");
      fs::create_directories(place());
      if (renames == 1) std::ofstream(place() + "/precious") << "theirs";
    };
    EXPECT_EQ(broken(clean(method), {.call = 0, .onCall = swap, .outputTo = output}).status, 1) << method;
    EXPECT_GE(renames, 2) << method;
    std::string found;
    for (const auto& entry : fs::recursive_directory_iterator(home_)) {
      if (entry.path().filename() == "precious") found = entry.path().parent_path();
    }
    ASSERT_NE(found, "") << method;
    EXPECT_THAT(*readFile(output),
                HasSubstr("could not be moved back (File exists); look for it at ~" + found.substr(home_.size())));
    for (int run = 0; run < 2; ++run) again(clean("delete"));
    again({"trash", "purge", "--older-than", "1d", "--yes"});
    const ProgramRun purged = again({"quarantine", "purge", "--older-than", "1d", "--yes"});
    EXPECT_TRUE(exists(found + "/precious")) << method << ": " << purged.err;
    const auto listed = again({"quarantine", "list", "--json"});
    const auto info = readFile(trashFolder("info/node_modules.trashinfo"));
    if (method == "delete") {
      EXPECT_THAT(again(clean("delete")).err, HasSubstr("named like an interrupted removal"));
    } else if (method == "quarantine") {
      EXPECT_THAT(listed.out, HasSubstr('"' + place() + '"'));
    } else {
      EXPECT_EQ(info ? FreedesktopTrash::pathOf(*info) : std::nullopt, place());
    }
  }
}

/// A disk error while listing must not make sizes look smaller without a note.
TEST_F(Crash, WhatCouldNotBeListedIsNotedAndNotReported) {
  begin();
  const std::string output = home_ + "/output";
  int noted = 0;
  forEveryCall(EIO, 5, [&](const SystemCallBreak& each) {
    SystemCallBreak at = each;
    at.listingsBelow = home_;
    at.outputTo = output;
    const BrokenRun ran = broken({"scan", home_ + "/code", "--no-system", "--json"}, at);
    const std::string text = *readFile(output);
    const bool isWhole = text.find("\"totalBytes\": 6,") != std::string::npos;
    const bool isLeftOut = text.find("\"totalBytes\": 0,") != std::string::npos;
    const bool isNoted = text.find("could not be") != std::string::npos;
    EXPECT_TRUE(isWhole || (isLeftOut && isNoted)) << shown(at, ran) << text;
    noted += isNoted ? 1 : 0;
    return ran.reached;
  });
  EXPECT_GE(noted, 4) << "the project, and the folders of the artefact";
}

}  // namespace
}  // namespace tidra
