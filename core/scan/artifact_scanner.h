// The project walk: finds every folder that a project rule names below a root, and measures it.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <system_error>
#include <vector>

#include "core/model/scan_artifact_finding.h"
#include "core/platform/directory_reader.h"
#include "core/platform/mount_table.h"
#include "core/platform/path_resolver.h"
#include "core/platform/platform.h"
#include "core/rules/rule_catalog.h"
#include "core/scan/exclusion_filter.h"
#include "core/scan/kept_inside.h"
#include "core/scan/stores.h"

namespace tidra {

struct FilesystemArtifactScanner {
  /// Progress, valid during the call that delivers it.
  struct ProgressTick {
    std::uint64_t foldersScanned = 0;  // entries visited so far
    std::size_t projectRootsFound = 0;
    std::string currentPathDisplay;  // the home folder as "~"
    std::size_t artifactsFound = 0;
    std::uint64_t recoverableBytes = 0;
    const ScanArtifactFinding* latestFinding = nullptr;  // null before the first
  };

  struct Request {
    std::string root;  // absolute and standardised
    const RuleCatalog* catalog = nullptr;
    TidraPlatform platform = currentPlatform;
    TidraPathResolver resolver;  // for the skip list and for display
    TidraScanExclusionFilter exclusionFilter = {};
    std::optional<std::set<std::string>> enabledEcosystems = {};  // absent: all
    std::vector<Store> stores = {};                               // known by their places; none holds the home folder
    std::vector<MountPoint> mounts = {};                          // pseudo file systems among them are not entered
    bool oneFileSystem = false;                                   // no other file system is entered
    std::optional<std::set<std::string>> onlyNames = {};          // just these entries of the root; absent: everything
    unsigned workers = 0;                                         // 0: the default
    std::function<bool()> shouldCancel = {};                      // polled on the caller's thread
    std::function<void(const ProgressTick&)> onProgress = {};     // called on the caller's thread
  };

  struct Result {
    std::vector<ScanArtifactFinding> findings;       // depth first, siblings in byte order of their names
    std::map<std::string, FileIdentity> identities;  // of the folders that were measured, by path
    std::vector<WithheldFinding> withheld;           // artefacts that hold what must stay, in the same order
    bool cancelled = false;
    std::optional<std::string> rootObstacle;      // why the root gives nothing: a sentence
    std::vector<std::string> unclaimedLeftovers;  // named like RemovalLeftover, but not the running user's; sorted
    std::uint64_t unreadableFolders = 0;          // met on the walk and passed over
    std::uint64_t starvedFolders = 0;             // not read because no descriptor was left
    std::uint64_t brokenFolders = 0;        // not read, or not to the end, because of an error such as of the disk
    std::error_code brokenReason;           // of one of those
    std::uint64_t unmeasuredArtifacts = 0;  // left out because their sizes could not be told
    std::uint64_t entriesVisited = 0;
    /// The folders deeper in a finding that hold ".git", by the path of the finding, in byte order.
    std::map<std::string, std::vector<std::string>> repositoriesInside;
  };

  /// Walks one root with several workers; the result does not depend on their number. Never throws for what the file
  /// system answers: what cannot be read is passed over. Findings carry no activity date yet.
  static Result scan(const Request& request);
};

}  // namespace tidra
