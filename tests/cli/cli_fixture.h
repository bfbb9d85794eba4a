// Runs the program in a home folder with projects of known sizes.
#pragma once

#include <gmock/gmock.h>

#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "core/model/scan_report.h"
#include "core/platform/process_runner.h"
#include "tests/cli/program_run.h"
#include "tests/support/temporary_tree.h"

namespace tidra {

class CliTest : public testing::Test {
 protected:
  /// ~/code has four projects: web (node_modules 3000, dist 200), tool (target 50000, of rust), snake (.venv 40) and
  /// ancient (target 1000, last touched in 2001); ~/.cache has another, which scans skip.
  CliTest();

  /// Runs "tidra scan --no-system".
  ProgramRun scan(std::vector<std::string> arguments, ProgramOptions options = {}) const;
  ProgramRun run(const std::vector<std::string>& arguments, ProgramOptions options = {}) const;

  /// The report of a scan that must succeed.
  ScanReport report(std::vector<std::string> arguments) const;
  /// The display paths of its items.
  std::vector<std::string> found(const std::vector<std::string>& arguments) const;

  /// Runs a shell command in the home folder, with the program as "$tidra".
  ProcessRunner::Result inShell(const std::string& command) const;

  /// Runs "tidra clean --no-system".
  ProgramRun clean(std::vector<std::string> arguments, ProgramOptions options = {}) const;
  /// Expects status 2, nothing on standard output and one sentence on standard error; returns the latter.
  std::string refused(const std::vector<std::string>& arguments, ProgramOptions options = {}) const;
  bool exists(const std::string& relative) const;

  const TemporaryTree& tree() const { return *tree_; }

 private:
  std::unique_ptr<TemporaryTree> tree_;
};

std::vector<std::string> linesOf(const std::string& text);
/// The last two components of each path.
std::string shortNames(const std::vector<std::string>& paths);

/// Matches a run that ends with this status and standard error.
template <class Err>
auto fails(int status, Err err) {
  return testing::AllOf(testing::Field("status", &ProgramRun::status, status),
                        testing::Field("err", &ProgramRun::err, err));
}
/// Matches a run that ends with status 0 and this standard output.
template <class Out>
auto succeeds(Out out) {
  return testing::AllOf(testing::Field("status", &ProgramRun::status, 0), testing::Field("out", &ProgramRun::out, out));
}

/// A plan that deletes these places, each of one byte.
std::string planOf(const std::string& host, const std::vector<std::string>& places, const std::string& tier,
                   const std::string& source = "projectWalk");

/// The JSON document on standard output.
nlohmann::json documentOf(const ProgramRun& ran);
/// The report on standard output.
ScanReport reportOf(const ProgramRun& ran);

}  // namespace tidra
