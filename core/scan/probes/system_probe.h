// What every probe outside projects has in common.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "core/model/scan_artifact_finding.h"
#include "core/platform/directory_reader.h"
#include "core/platform/path_resolver.h"
#include "core/platform/platform.h"
#include "core/platform/process_runner.h"
#include "core/rules/rule_catalog.h"
#include "core/scan/walk_filter.h"

namespace tidra {

/// False for a size that no machine holds, as tools gone wrong print it; it counts as unknown then.
constexpr bool isPlausibleSize(std::uint64_t bytes) { return bytes <= std::uint64_t{1} << 50U; }

/// What a tool answered.
struct ToolAnswer {
  std::optional<std::string> text;  // absent when it failed, hung, was cancelled or wrote too much
  bool hung = false;                // its time was up
};

/// What a probe is handed. Shared by all probes of a scan and used from several threads at once.
struct SystemProbeContext {
  TidraPathResolver resolver;  // the home folder and the environment
  WalkFilter exclusionFilter;  // no probe reports a path that this bars
  const RuleCatalog* catalog = nullptr;
  TidraPlatform platform = currentPlatform;
  TimePoint now{};
  std::function<bool()> shouldCancel;  // from any thread; probes ask between items

  const std::string& home() const { return resolver.home; }

  /// Runs a tool in a clean locale, so that its output parses. `pathFirst` is put before the search path of the tool's
  /// own children, which holds only folders that may be trusted.
  ToolAnswer ask(const std::string& executable, std::vector<std::string> arguments, double timeoutSeconds,
                 const std::optional<std::string>& pathFirst = {}) const;

  bool isCancelled() const { return shouldCancel && shouldCancel(); }
};

/// A finding whose size may still have to be measured.
struct ProbeItem {
  ScanArtifactFinding finding;
  std::optional<std::string> measuredFolder = {};  // its size is the finding's; absent when the size is known already
  bool enterBundles = false;                       // count the insides of bundle packages too
  bool isTrash = false;                            // a whole trash, the one finding that lies in a store
  std::optional<FileIdentity> identity = {};       // of what has been measured
};

/// A place that is no finding of its own, because it lies in one or another source has found the same.
struct CoveredPlace {
  std::string place;  // absolute
  std::string label;
  ArtifactSafetyTier tier = ArtifactSafetyTier::safe;  // what it would be, were it a finding
  std::optional<std::string> hint = {};                // how it comes back, or what is lost with it
};

/// What one probe tells.
struct ProbeReport {
  std::vector<ProbeItem> items;
  std::vector<CoveredPlace> covered;  // in an item
  std::vector<std::string> notes;     // a tool that is there but did not answer
};

/// The questions that a probe puts to one tool. After one on which it hung no other is put, so that a tool that hangs
/// costs its time-out once.
class ToolQuestions {
 public:
  /// The context must outlive this. A tool found as `path` is run by that path or, when `throughEnv`, by its name
  /// through env, made sure to be this very one.
  ToolQuestions(const SystemProbeContext& context, const std::string& path, double timeoutSeconds, bool throughEnv);

  std::optional<std::string> ask(std::vector<std::string> arguments);

  /// One sentence about the questions that were not answered; none when all were, or when the scan was cancelled.
  std::optional<std::string> note() const;

 private:
  const SystemProbeContext& context_;
  std::string path_;
  double timeoutSeconds_;
  bool throughEnv_;
  bool hung_ = false;
  std::vector<std::string> unanswered_;
};

class SystemArtifactProbe {
 public:
  virtual ~SystemArtifactProbe() = default;

  /// The system-scan category that the probe serves.
  virtual std::string categoryKey() const = 0;
  virtual std::set<TidraPlatform> supportedPlatforms() const { return {TidraPlatform::macOS, TidraPlatform::linux}; }
  /// True when the probe waits for external tools, which may take many seconds.
  virtual bool runsTools() const { return false; }

  /// True when what it finds is the tool's to keep, wherever that lies, rather than places of their own.
  virtual bool isOfTool() const { return false; }

  /// What there is, in a fixed order. Failures of tools and of the file system yield nothing, never an exception. Sizes
  /// that are measured by reading folders are left to the scanner.
  virtual ProbeReport scan(const SystemProbeContext& context) const = 0;
};

/// Helpers that several probes need.
struct ProbeFiles {
  /// Names of the entries of a folder in byte order; empty when it cannot be read. Links are among them.
  static std::vector<std::string> entryNames(const std::string& folder);
  /// Names of the subfolders, links to folders left out.
  static std::vector<std::string> subfolderNames(const std::string& folder);
  static bool isFolder(const std::string& path);  // a link to a folder is none
  static std::optional<TimePoint> modified(const std::string& path);
  /// The newest modification among the entries of a folder; none when there are none.
  static std::optional<TimePoint> newestChild(const std::string& folder);
};

}  // namespace tidra
