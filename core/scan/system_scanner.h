// Scans outside projects: runs the probes and measures their results.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "core/platform/mount_table.h"
#include "core/scan/directory_size.h"
#include "core/scan/kept_inside.h"
#include "core/scan/place_set.h"
#include "core/scan/probes/system_probe.h"
#include "core/scan/stores.h"

namespace tidra {

/// Bounds of a scan outside projects.
struct SystemBounds {
  PlaceSet roots;                        // a path must equal or lie in one of these, with symbolic links resolved
  std::set<std::string> toolCategories;  // categories in which tools are queried at all
};

/// Probes run in parallel, slow tools from construction on; the result order is that of the probes. One object is one
/// scan on one thread.
class SystemArtifactScanner {
 public:
  static constexpr const char* projectPhaseLabel = "Scanning your projects…";
  static constexpr const char* systemPhaseLabel = "Checking system caches…";

  /// Progress; valid only during the callback. The phase outside projects begins with a tick without a finding; further
  /// ones come every 0.12 seconds while a tool is waited for.
  struct ProgressTick {
    std::string phaseLabel;
    std::int64_t artifactsFound = 0;
    std::int64_t recoverableBytes = 0;
    const FoundArtifact* latestFinding = nullptr;  // the finding that caused the tick, if any
  };

  struct Request {
    SystemProbeContext context;
    std::set<std::string> categories;                     // enabled keys
    std::optional<SystemBounds> bounds;                   // absent: none
    bool checksPip = true;                                // look for unused packages in Python environments of projects
    const RuleIndex* rulesInside = nullptr;               // as for the walk
    std::vector<MountPoint> mounts;                       // file systems mounted inside are not measured
    TidraScanExclusionFilter exclusions;                  // findings that contain a match are left out
    std::vector<Store> stores;                            // stores at known paths; none contains the home folder
    unsigned workers = 0;                                 // for measuring; 0: default
    std::function<bool()> shouldCancel;                   // polled on the caller's thread; the context has its own
    std::function<void(const ProgressTick&)> onProgress;  // called on the caller's thread
  };

  struct Result {
    std::vector<FoundArtifact> findings;
    std::vector<CoveredPlace> covered;      // paths of the probes, of tiers above safe, that are no findings
    std::vector<WithheldFinding> withheld;  // findings that contain something to keep
    std::vector<std::string> notes;
  };

  /// Returns the probes for these categories on a platform: a catalog probe per category in table order, then the
  /// special ones.
  static std::vector<std::unique_ptr<SystemArtifactProbe>> probes(const std::set<std::string>& categories,
                                                                  TidraPlatform platform);

  /// Starts the tools. The request must outlive this.
  explicit SystemArtifactScanner(const Request& request);
  /// Blocks until running tools have ended; cancel the context first to end them promptly.
  ~SystemArtifactScanner();

  /// Reports the project findings, runs the other probes and returns the findings outside `projects`: none that lies in
  /// one of them or in an earlier finding. A finding that contains an earlier one is returned, unless a tool removes
  /// it. Probes without tools are measured and reported first, so that cancelling while waiting for a tool does not
  /// lose them.
  Result scan(const std::vector<FoundArtifact>& projects);

 private:
  class TakenPlaces;
  /// A finding, possibly still to be measured.
  struct Kept {
    FoundArtifact found;
    std::optional<TidraDirectorySizeReader::Folder> measured;  // whose size is the finding's; absent if that is known
    bool isTrash = false;                                      // a whole trash
    bool isLeftOut = false;                                    // set by measuring
  };

  bool isLeftOut(const SystemArtifactProbe& probe) const;
  void start(std::size_t probe);
  ProbeReport finish(std::future<ProbeReport>& running);
  /// Waits for a probe by index and drops items out of bounds.
  ProbeReport finishWithinBounds(std::size_t probe);
  void tickProjects(const std::vector<FoundArtifact>& projects);
  /// Claims, measures and reports the items of a category's report that are not yet claimed.
  std::vector<FoundArtifact> keep(ProbeReport& report, const std::string& category, TakenPlaces& taken);
  /// Marks as not freeable what a lower layer of an overlay keeps, of the items that are not measured.
  static void noteKeptByLowerLayer(std::vector<Kept>& items, const OverlayLayers& layers);
  void measure(std::vector<Kept>& items);
  /// Adds what measuring found to an item, or sets isLeftOut.
  void setMeasured(Kept& item, TidraDirectorySizeReader::Size& size);
  bool isSearchable(const Kept& kept, ProbeReport& report);
  void tick(const char* phase, const FoundArtifact* found);
  bool isCancelled() const { return request_.shouldCancel && request_.shouldCancel(); }

  const Request& request_;
  std::vector<std::unique_ptr<SystemArtifactProbe>> probes_;
  std::vector<std::future<ProbeReport>> running_;  // by index of the probe
  StoreFinder stores_;
  std::vector<WithheldFinding> withheld_;
  ProgressTick tick_;
  std::chrono::steady_clock::time_point lastTick_{};
};

}  // namespace tidra
