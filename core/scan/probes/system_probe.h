// Common parts of the probes outside projects.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "core/model/found_artifact.h"
#include "core/platform/directory_reader.h"
#include "core/platform/path_resolver.h"
#include "core/platform/platform.h"
#include "core/platform/process_runner.h"
#include "core/rules/rule_catalog.h"
#include "core/scan/walk_filter.h"

namespace tidra {

/// False for sizes beyond any machine (1 PiB), as faulty tools print them; they count as unknown.
constexpr bool isPlausibleSize(std::uint64_t bytes) { return bytes <= std::uint64_t{1} << 50U; }

/// Result of a tool.
struct ToolAnswer {
  std::optional<std::string> text;  // absent after failure, timeout, cancellation or too much output
  bool hung = false;                // timed out
};

/// Input of the probes. Shared by all of them; read from several threads at once.
struct SystemProbeContext {
  TidraPathResolver resolver;  // home folder and environment
  WalkFilter exclusionFilter;  // probes do not report barred paths
  const RuleCatalog* catalog = nullptr;
  TidraPlatform platform = currentPlatform;
  TimePoint now{};
  std::function<bool()> shouldCancel;  // thread-safe; polled between items

  const std::string& home() const { return resolver.home; }

  /// Runs a tool with LC_ALL=C, so that its output parses, and so that it leaves no cache, log or compiled module.
  /// `pathFirst` is prepended to the PATH of its children, which contains only trusted folders.
  ToolAnswer ask(const std::string& executable, std::vector<std::string> arguments, double timeoutSeconds,
                 const std::optional<std::string>& pathFirst = {}) const;

  bool isCancelled() const { return shouldCancel && shouldCancel(); }
};

/// A finding, possibly still to be measured.
struct ProbeItem {
  ScanArtifactFinding finding;
  std::optional<std::string> measuredFolder = {};  // folder whose size is the finding's; absent if the size is known
  bool enterBundles = false;                       // count the contents of bundle packages, too
  bool isTrash = false;                            // a whole trash, the only finding allowed in a store
  std::optional<FileIdentity> identity = {};       // of the measured entry
};

/// A path that is no finding of its own: it lies in one, or another source found it.
struct CoveredPlace {
  std::string place;  // absolute
  std::string label;
  ArtifactSafetyTier tier = ArtifactSafetyTier::safe;  // its tier as a finding
  std::optional<std::string> hint = {};                // how to restore it, or what is lost
};

/// Result of one probe.
struct ProbeReport {
  std::vector<ProbeItem> items;
  std::vector<CoveredPlace> covered;  // inside an item
  std::vector<std::string> notes;     // tools that are installed but did not answer
};

/// The queries of a probe to one tool. After a timeout no further query is made, so that a hanging tool costs its
/// timeout once.
class ToolQuestions {
 public:
  /// The context must outlive this. Runs the tool by `path`, or with `throughEnv` by name through env with its folder
  /// first in PATH.
  ToolQuestions(const SystemProbeContext& context, const std::string& path, double timeoutSeconds, bool throughEnv);

  std::optional<std::string> ask(std::vector<std::string> arguments);

  /// Returns a sentence on unanswered queries; nullopt if there are none or the scan was cancelled.
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

  /// Returns the category of the probe.
  virtual std::string categoryKey() const = 0;
  virtual std::set<TidraPlatform> supportedPlatforms() const { return {TidraPlatform::macOS, TidraPlatform::linux}; }
  /// Whether the probe waits for external tools, which may take many seconds.
  virtual bool runsTools() const { return false; }

  /// Whether its findings are managed by the tool, wherever they lie, instead of being paths.
  virtual bool isOfTool() const { return false; }

  /// Returns the findings in a fixed order. Failures of tools and the file system are skipped, not thrown. The scanner
  /// measures folders.
  virtual ProbeReport scan(const SystemProbeContext& context) const = 0;
};

/// Helpers shared by probes.
struct ProbeFiles {
  /// Returns the entry names of a folder in byte order, symbolic links included; empty if unreadable.
  static std::vector<std::string> entryNames(const std::string& folder);
  /// Returns the names of subfolders, without symbolic links.
  static std::vector<std::string> subfolderNames(const std::string& folder);
  static bool isFolder(const std::string& path);  // false for a symbolic link
  static std::optional<TimePoint> modified(const std::string& path);
  /// Returns the newest mtime among a folder's entries; nullopt if it is empty.
  static std::optional<TimePoint> newestChild(const std::string& folder);
};

}  // namespace tidra
