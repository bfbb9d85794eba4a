#include "tests/cli/cli_fixture.h"

#include "core/base/json_fields.h"
#include "core/base/text.h"
#include "core/platform/directory_reader.h"
#include "tests/support/unskipped_folder.h"

namespace tidra {
CliTest::CliTest() {
  chooseTemporaryFolder();
  tree_ = std::make_unique<TemporaryTree>();
  tree_->writeFile("code/snake/requirements.txt", "flask");
  tree_->writeFile("code/web/package.json", R"({"dependencies": {"a": "1"}, "scripts": {"build": "vite build"}})");
  for (const char* mark : {"code/web/node_modules/.package-lock.json", "code/tool/target/CACHEDIR.TAG",
                           "code/ancient/target/CACHEDIR.TAG", "code/snake/.venv/pyvenv.cfg"})
    tree_->writeFile(mark);
  tree_->writeFileOfSize("code/web/node_modules/a/f", 3000);
  tree_->writeFileOfSize("code/web/dist/f", 200);
  tree_->writeFileOfSize("code/tool/target/f", 50000);
  tree_->writeFile("code/tool/Cargo.toml");
  tree_->writeFileOfSize("code/snake/.venv/lib/f", 40);
  tree_->writeFileOfSize("code/ancient/target/f", 1000);
  tree_->setModified("code/ancient", TimePoint{std::chrono::seconds{1000000000}});
  tree_->writeFileOfSize(".cache/p/node_modules/f", 7);
}

ProgramRun CliTest::run(const std::vector<std::string>& arguments, ProgramOptions options) const {
  options.environment.insert({{"HOME", tree_->root()}, {"PATH", "/usr/bin:/bin"}, {"TERM", "xterm"}});
  if (options.folder == "/") options.folder = tree_->root();
  return runProgram(arguments, options);
}

ProcessRunner::Result CliTest::inShell(const std::string& command) const {
  auto ran = ProcessRunner::run(
      {.executablePath = "/bin/sh",
       .arguments = {"-c", command},
       .currentDirectory = tree_->root(),
       .environment = Environment{{"HOME", tree_->root()}, {"PATH", "/usr/bin:/bin"}, {"tidra", TIDRA_PROGRAM}},
       .timeoutSeconds = 60});
  if (!ran) throw std::runtime_error("the shell did not run, or not end: " + command);
  return *std::move(ran);
}

ProgramRun CliTest::scan(std::vector<std::string> arguments, ProgramOptions options) const {
  arguments.insert(arguments.begin(), {"scan", "--no-system"});
  return run(arguments, std::move(options));
}

ScanReport CliTest::report(std::vector<std::string> arguments) const {
  arguments.emplace_back("--json");
  const ProgramRun ran = scan(arguments);
  EXPECT_EQ(ran.status, 0) << joined(arguments, " ");
  EXPECT_EQ(ran.err, "") << joined(arguments, " ");
  return reportOf(ran);
}

ProgramRun CliTest::clean(std::vector<std::string> arguments, ProgramOptions options) const {
  arguments.insert(arguments.begin(), {"clean", "--no-system"});
  return run(arguments, std::move(options));
}

std::string CliTest::refused(const std::vector<std::string>& arguments, ProgramOptions options) const {
  const ProgramRun ran = run(arguments, std::move(options));
  EXPECT_EQ(ran.status, 2) << joined(arguments, " ");
  EXPECT_EQ(ran.out, "") << joined(arguments, " ");
  EXPECT_EQ(linesOf(ran.err).size(), 1U) << joined(arguments, " ") << " gives\n" << ran.err;
  EXPECT_TRUE(ran.err.starts_with("tidra: ")) << ran.err;
  return ran.err;
}

bool CliTest::exists(const std::string& relative) const { return static_cast<bool>(pathFacts(tree_->path(relative))); }

std::vector<std::string> CliTest::found(const std::vector<std::string>& arguments) const {
  std::vector<std::string> paths;
  for (const auto& item : report(arguments).items) paths.push_back(item.displayPath);
  return paths;
}

std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  for (const auto line : split(text, '\n')) lines.emplace_back(line);
  if (!lines.empty() && lines.back().empty()) lines.pop_back();
  return lines;
}

std::string shortNames(const std::vector<std::string>& paths) {
  std::vector<std::string> names;
  for (const std::string& path : paths) names.push_back(path.substr(path.rfind('/', path.rfind('/') - 1) + 1));
  return joined(names, " ");
}

std::string planOf(const std::string& host, const std::vector<std::string>& places, const std::string& tier,
                   const std::string& source) {
  auto items = nlohmann::json::array();
  for (const std::string& path : places) {
    auto& item = items.emplace_back(parseJson(R"({"label": "x", "bytes": 1, "category": "project"})", "The item"));
    item.update({{"id", path}, {"path", path}, {"tier", tier}, {"source", source}});
  }
  nlohmann::json plan{
      {"schemaVersion", 1}, {"createdAt", "2026-01-01T00:00:00Z"}, {"host", host}, {"method", "delete"}};
  plan["items"] = items;
  return plan.dump();
}

nlohmann::json documentOf(const ProgramRun& ran) { return parseJson(ran.out, "The document"); }

ScanReport reportOf(const ProgramRun& ran) { return JsonCodec<ScanReport>::decode(documentOf(ran), "The report"); }

}  // namespace tidra
