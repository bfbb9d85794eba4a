// Everything outside projects: runs the probes and measures what they found.
#pragma once

#include <cstdint>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "core/platform/mount_table.h"
#include "core/scan/kept_inside.h"
#include "core/scan/place_set.h"
#include "core/scan/probes/system_probe.h"
#include "core/scan/stores.h"

namespace tidra {

/// What bounds the search outside projects.
struct SystemBounds {
  PlaceSet roots;                        // a place takes part when it is one of these or lies in one, links resolved
  std::set<std::string> toolCategories;  // what tools keep takes part in these, the rest is not even asked for
};

/// Probes run side by side, the slow tools in the background from the moment of construction; the order of the results
/// is that of the probes all the same. One object is one scan, used by one thread.
class SystemArtifactScanner {
 public:
  static constexpr const char* projectPhaseLabel = "Scanning your projects…";
  static constexpr const char* systemPhaseLabel = "Checking system caches…";

  /// Progress, valid during the call that delivers it. The phase outside projects begins with a tick of its own.
  struct ProgressTick {
    std::string phaseLabel;
    std::int64_t artifactsFound = 0;
    std::int64_t recoverableBytes = 0;
    const ScanArtifactFinding* latestFinding = nullptr;  // the one that caused the tick, if any
  };

  struct Request {
    SystemProbeContext context;
    std::set<std::string> categories;                     // keys that are enabled
    std::optional<SystemBounds> bounds;                   // absent: none
    bool checksPip = true;                                // look for unused packages in the environments of projects
    std::vector<MountPoint> mounts;                       // what is mounted inside a place is not measured
    TidraScanExclusionFilter exclusions;                  // what holds some of it is left out
    std::vector<Store> stores;                            // known by their places; none holds the home folder
    unsigned workers = 0;                                 // for measuring; 0: the default
    std::function<bool()> shouldCancel;                   // polled on the caller's thread; context has its own
    std::function<void(const ProgressTick&)> onProgress;  // called on the caller's thread
  };

  struct Result {
    std::vector<ScanArtifactFinding> findings;
    std::vector<std::string> places;    // what each of them holds on disk, links resolved; empty when that is no place
    std::vector<CoveredPlace> covered;  // places of higher tiers than safe that are no findings of their own
    std::map<std::string, FileIdentity> identities;  // of those that are places, by path
    std::vector<WithheldFinding> withheld;           // what holds something that must stay
    std::vector<std::string> notes;
  };

  /// The probes for these categories on a platform: a catalog probe for each category in the order of their table, then
  /// the special ones.
  static std::vector<std::unique_ptr<SystemArtifactProbe>> probes(const std::set<std::string>& categories,
                                                                  TidraPlatform platform);

  /// Starts the tools. The request must outlive this.
  explicit SystemArtifactScanner(const Request& request);
  /// Waits for tools that still run; cancel the context first to make that prompt.
  ~SystemArtifactScanner();

  /// Tells of the project findings in a first phase, then runs the other probes, measures, and gives what was found
  /// outside `projects`: nothing that one of them or an earlier finding holds. What holds an earlier finding is found
  /// as well, unless a tool removes it. What needs no tool is measured and told while the tools run, so that cancelling
  /// while one is waited for loses none of it.
  Result scan(const std::vector<ScanArtifactFinding>& projects);

 private:
  class TakenPlaces;
  /// A finding and the place that it holds, links resolved; empty when that is no place.
  struct Kept {
    ProbeItem item;
    std::string place;
  };

  bool isLeftOut(const SystemArtifactProbe& probe) const;
  void start(std::size_t probe);
  ProbeReport finish(std::future<ProbeReport>& running) const;
  /// The same for a probe by its number, less what lies out of bounds.
  ProbeReport finishWithinBounds(std::size_t probe);
  void tickProjects(const std::vector<ScanArtifactFinding>& projects);
  /// Takes what a report tells that is not taken yet, measured and told of.
  std::vector<Kept> keep(ProbeReport& report, TakenPlaces& taken);
  void measure(std::vector<Kept>& items);
  bool isSearchable(const Kept& kept, ProbeReport& report);
  void addPlacesOfOtherCategories(TakenPlaces& taken) const;
  void tick(const char* phase, const ScanArtifactFinding* finding);
  bool isCancelled() const { return request_.shouldCancel && request_.shouldCancel(); }

  const Request& request_;
  std::vector<std::unique_ptr<SystemArtifactProbe>> probes_;
  std::vector<std::future<ProbeReport>> running_;  // of each probe, in their order
  StoreFinder stores_;
  std::vector<WithheldFinding> withheld_;
  ProgressTick tick_;
};

}  // namespace tidra
