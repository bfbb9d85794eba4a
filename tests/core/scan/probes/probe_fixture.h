// Shared by the tests of probes: a home folder, fake tools on PATH, findings as short lines.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "core/scan/probes/system_probe.h"
#include "tests/support/temporary_tree.h"

namespace tidra {

/// The tree has "home" and "bin", a folder of fake tools that precedes the machine's own.
class ProbeFixture {
 public:
  /// Behaviour of a fake tool: arguments joined by blanks (a trailing "*" matches any rest), and shell code. Other
  /// arguments fail.
  using Answers = std::vector<std::pair<std::string, std::string>>;

  ProbeFixture();

  const TemporaryTree& tree() const { return tree_; }
  const std::string& home() const { return context.resolver.home; }

  /// Writes a shell script; returns its path. `name` is relative to "bin".
  std::string script(const std::string& name, const std::string& body) const;
  /// Writes a tool with this behaviour. Calls are logged to the file "calls" as "name [argument][argument]".
  std::string tool(const std::string& name, const Answers& answers) const;
  /// The logged calls, a line each.
  std::vector<std::string> calls() const;

  /// A script body that reports that it runs and then hangs; from then on the context is cancelled.
  std::string hang();

  /// The text with the tree's path replaced by "@".
  std::string shown(std::string text) const;
  /// "path | label | bytes", with the folder to measure when bytes are not known yet.
  std::vector<std::string> lines(const ProbeReport& report) const;

  /// Makes `other` equal to this context, except for the exclusions, which cannot be copied.
  void handTo(SystemProbeContext& other) const;

  RuleCatalog catalog;
  SystemProbeContext context;

 private:
  TemporaryTree tree_;
};

/// Script bodies with useless output: nothing, a word, unordered lines, binary data, JSON of the wrong type.
extern const std::vector<std::string> uselessScripts;

}  // namespace tidra
