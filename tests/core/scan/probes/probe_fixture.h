// What the tests of the probes share: a home folder, fake tools on a search path of their own, findings as short lines.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "core/scan/probes/system_probe.h"
#include "tests/support/temporary_tree.h"

namespace tidra {

/// In the tree lie "home" and "bin", a folder of fake tools that is searched before the machine's own.
class ProbeFixture {
 public:
  /// Answers of a fake tool: the arguments with blanks between (a trailing "*" takes any further ones) and what the
  /// shell does then. Anything else fails.
  using Answers = std::vector<std::pair<std::string, std::string>>;

  ProbeFixture();

  const TemporaryTree& tree() const { return tree_; }
  const std::string& home() const { return context.resolver.home; }

  /// A shell script; gives its path. `name` is relative to "bin".
  std::string script(const std::string& name, const std::string& body) const;
  /// The same from answers. Every call is added to the file "calls" as "name [argument][argument]".
  std::string tool(const std::string& name, const Answers& answers) const;
  /// What the tools were called with, a line each.
  std::vector<std::string> calls() const;

  /// A script body that says that it runs and then never ends; from then on the context is cancelled.
  std::string hang();

  /// The text with the tree's own path as "@".
  std::string shown(std::string text) const;
  /// "path | label | bytes", with the folder to measure in place of bytes that are not known yet.
  std::vector<std::string> lines(const ProbeReport& report) const;

  /// A context equal to this one but for the exclusions, which cannot be copied.
  void handTo(SystemProbeContext& other) const;

  RuleCatalog catalog;
  SystemProbeContext context;

 private:
  TemporaryTree tree_;
};

/// Texts that no tool should print, as script bodies: nothing, a word, lines in no order, binary, JSON of the wrong
/// kind.
extern const std::vector<std::string> uselessScripts;

}  // namespace tidra
