// Sends a signal at many moments of a run. At each: the program ends, reports exactly what is gone, and an interrupt
// before the first removal removes nothing.
#include <signal.h>
#include <sys/stat.h>

#include <array>
#include <atomic>
#include <filesystem>
#include <set>

#include "core/base/joining_thread.h"
#include "core/base/json_fields.h"
#include "core/platform/files.h"
#include "tests/cli/cli_fixture.h"
#include "tests/support/tables.h"

namespace tidra {
namespace {

namespace fs = std::filesystem;

using std::chrono::microseconds;

struct Case {
  std::string name;
  std::vector<std::string> arguments;  // HOME is replaced by the home folder
  bool asks = false;
};

void PrintTo(const Case& one, std::ostream* out) { *out << one.name; }

/// Each run has its own home folder with three projects of one artefact each. One is a repository, or two where git
/// hangs; each repository costs the other runs several processes.
class Interrupt : public CliTest, public testing::WithParamInterface<std::tuple<Case, bool>> {
 protected:
  /// Fifty per command; fewer where git hangs, since most moments then hit the same wait.
  int moments() const { return gitHangs() ? 10 : 40; }

  const Case& chosen() const { return std::get<0>(GetParam()); }
  /// The index is a FIFO, so git blocks on reading it.
  bool gitHangs() const { return std::get<1>(GetParam()); }

  std::array<const char*, 3> projects() const {
    return gitHangs() ? std::array{"a", "r", "s"} : std::array{"a", "b", "r"};
  }

  std::string makeHome(const std::string& name) const {
    for (const char* project : projects()) {
      const std::string folder = name + "/code/" + project;
      tree().writeFile(folder + "/package.json", R"({"dependencies": {"a": "1"}})");
      tree().writeFile(folder + "/node_modules/.package-lock.json", "{}");
      tree().writeFile(folder + "/node_modules/pkg/index.js", "x");
      if (*project < 'r') continue;
      tree().writeFile(folder + "/.git/HEAD", "ref: refs/heads/main\n");
      for (const char* part : {"objects", "refs"}) tree().makeFolder(folder + "/.git/" + part);
      if (gitHangs()) ::mkfifo(tree().path(folder + "/.git/index").c_str(), 0600);
    }
    tree().writeFile(name + "/policy.json", R"({"scan": {"roots": ["~/code"], "categories": []},
      "disposal": {"method": "delete"}, "autoClean": {"minBytes": 0, "minIdleDays": 0}})");
    Texts places;
    for (const char* project : projects()) places.push_back(tree().path(name + "/code/" + project + "/node_modules"));
    // This tier includes repositories on which git hangs.
    tree().writeFile(name + "/plan.json", planOf("h", places, "caution"));
    return tree().path(name);
  }
  static std::set<std::string> gone(const std::string& home) {
    std::set<std::string> paths;
    for (const auto& project : fs::directory_iterator(home + "/code")) {
      const std::string path = project.path().string() + "/node_modules";
      if (!fs::exists(path + "/pkg/index.js")) paths.insert(path);
    }
    return paths;
  }
  /// Paths reported as removed, or as interrupted in the middle.
  static std::set<std::string> reported(const std::string& text) {
    std::set<std::string> paths;
    if (text.empty() || !text.starts_with('{')) return paths;
    auto document = parseJson(text, "it");
    if (document.contains("disposal")) document = document["disposal"];
    if (!document.contains("receipts")) return paths;
    for (const auto& receipt : document["receipts"]) paths.insert(receipt["path"]);
    for (const auto& failure : document["failures"]) {
      const std::string message = failure["message"];
      if (message.find("what is left lies in") != std::string::npos) paths.insert(failure["path"]);
    }
    return paths;
  }

  /// Paths that the history has.
  std::set<std::string> recorded(const std::string& home) const {
    std::set<std::string> paths;
    const auto runs = parseJson(run({"history", "--json"}, {.environment = {{"HOME", home}}}).out, "it");
    for (const auto& each : runs) {
      for (const auto& item : each["items"]) paths.insert(item["path"]);
    }
    return paths;
  }

  ProgramRun runIn(const std::string& home, std::optional<ProgramOptions::Moment> moment,
                   std::function<void(pid_t)> onFirstError = {}) const {
    auto arguments = chosen().arguments;
    for (std::string& argument : arguments) {
      if (argument.starts_with("HOME")) argument.replace(0, 4, home);
    }
    ProgramOptions options{.environment = {{"HOME", home}, {"TIDRA_HOSTNAME", "h"}},
                           .onFirstError = std::move(onFirstError),
                           .moment = std::move(moment)};
    if (chosen().asks) options.typed = "";
    return run(arguments, std::move(options));
  }

  /// Duration and result of an uninterrupted run; one that asks ends at the question.
  microseconds uninterrupted() {
    const auto home = makeHome("reference");
    const auto began = std::chrono::steady_clock::now();
    auto end = began;
    const auto asked = [&](pid_t program) {
      end = std::chrono::steady_clock::now();
      ::kill(program, SIGKILL);
    };
    const auto ran = runIn(home, {}, chosen().asks ? asked : std::function<void(pid_t)>());
    if (!chosen().asks) {
      EXPECT_EQ(ran.status, 0) << ran.err;
      end = std::chrono::steady_clock::now();
    }
    EXPECT_EQ(reported(ran.out), gone(home));
    expected_ = gone(home).size();
    return std::chrono::duration_cast<microseconds>(end - began);
  }

  void interrupt(int number, microseconds after) const {
    const auto home = makeHome("home" + std::to_string(number));
    const int signal = std::array{SIGTERM, SIGINT, SIGHUP}.at(static_cast<std::size_t>(number % 3));
    const int interrupted = signal == SIGHUP ? 129 : 130;
    bool wasWhole = false;
    const auto ran = runIn(home, ProgramOptions::Moment{after, [&](pid_t program) {
                                                          ::kill(program, signal);
                                                          wasWhole = gone(home).empty();
                                                        }});
    const auto left = gone(home);
    const auto message = ::testing::Message() << "after " << after.count() << " us: status " << ran.status << "\n"
                                              << ran.out << ran.err;
    // Before its handlers are installed, the signal's default action ends the program.
    const bool hadNotBegun = ran.status == 128 + signal && ran.out.empty() && ran.err.empty();
    EXPECT_TRUE(hadNotBegun || ran.status == interrupted || (ran.status == 0 && !chosen().asks)) << message;
    EXPECT_EQ(reported(ran.out), left) << message;
    if (chosen().name == "clean" || chosen().name == "apply") {
      EXPECT_EQ(recorded(home), left) << message;
    }
    EXPECT_TRUE(ran.status != 0 || left.size() == expected_) << message;
    EXPECT_FALSE(gitHangs() && ran.status == 0) << message;
    EXPECT_FALSE(wasWhole && expected_ > 0 && ran.status == 0) << message;
    // The first removal may just have started.
    EXPECT_TRUE(!wasWhole || left.size() <= 1) << message;
    EXPECT_TRUE(expected_ > 0 || left.empty()) << message;
    if (const auto plan = readFile(home + "/new.json")) {
      EXPECT_EQ(parseJson(*plan, "it")["items"].size(), projects().size()) << message;
    } else if (chosen().name == "plan") {
      EXPECT_NE(ran.status, 0) << message;
    }
  }

 private:
  std::size_t expected_ = 0;  // removed by a complete run; 0 while git hangs
};

TEST_P(Interrupt, BeforeTheFirstRemovalRemovesNothing) {
  // Long enough to reach the git that hangs.
  constexpr microseconds untilGitHangs{500'000};
  const auto length = gitHangs() ? untilGitHangs : uninterrupted();
  std::atomic<int> next{0};
  std::vector<JoiningThread> threads;
  // Waiting runs use no CPU, so run all at once.
  for (int i = 0; i < (gitHangs() ? moments() : 2); ++i) {
    threads.emplace_back([&] {
      for (int number = next++; number < moments(); number = next++) interrupt(number, length * number / moments());
    });
  }
}

const std::vector<Case> commands{
    {"clean", {"clean", "HOME/code", "--no-system", "--method", "delete", "--yes", "--json"}},
    {"question", {"clean", "HOME/code", "--no-system", "--json"}, true},
    {"apply", {"apply", "HOME/plan.json", "--yes", "--json"}},
    {"plan", {"plan", "HOME/code", "--no-system", "-o", "HOME/new.json"}},
    {"scan", {"scan", "HOME/code", "--no-system", "--json"}},
    {"fleet", {"fleet", "run", "--policy", "HOME/policy.json", "--json"}},
};

INSTANTIATE_TEST_SUITE_P(Commands, Interrupt, testing::Combine(testing::ValuesIn(commands), testing::Bool()),
                         [](const auto& combined) {
                           return std::get<0>(combined.param).name +
                                  (std::get<1>(combined.param) ? "WhereGitHangs" : "");
                         });

}  // namespace
}  // namespace tidra
