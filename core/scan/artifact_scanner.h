// The project walk: finds and measures the folders below a root that match a project rule.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <system_error>
#include <vector>

#include "core/model/found_artifact.h"
#include "core/platform/mount_table.h"
#include "core/platform/path_resolver.h"
#include "core/platform/platform.h"
#include "core/rules/rule_catalog.h"
#include "core/rules/rule_packs.h"
#include "core/scan/exclusion_filter.h"
#include "core/scan/kept_inside.h"
#include "core/scan/stores.h"

namespace tidra {

class RuleIndex;

struct FilesystemArtifactScanner {
  /// Progress; valid only during the callback.
  struct ProgressTick {
    std::uint64_t foldersScanned = 0;  // entries visited so far
    std::size_t projectRootsFound = 0;
    std::string currentPathDisplay;  // home folder shown as "~"
    std::size_t artifactsFound = 0;
    std::uint64_t recoverableBytes = 0;
    const FoundArtifact* latestFinding = nullptr;  // null before the first finding
  };

  struct Request {
    std::string root;  // absolute and standardised
    const RuleCatalog* catalog = nullptr;
    const RuleIndex* rulesInside = nullptr;  // FoundArtifact::inside names what these rank higher; null: not looked for
    std::vector<const RulePack*> offPacks = {};  // counted in Result::projectsOfOffPacks; at most 64
    TidraPlatform platform = currentPlatform;
    TidraPathResolver resolver;  // for the skip list and display
    TidraScanExclusionFilter exclusionFilter = {};
    std::optional<std::set<std::string>> enabledEcosystems = {};  // absent: all
    std::vector<Store> stores = {};                            // stores at known paths; none contains the home folder
    std::vector<MountPoint> mounts = {};                       // pseudo file systems among them are not entered
    bool oneFileSystem = false;                                // true: enter no other file system
    std::optional<std::set<std::string>> onlyNames = {};       // only these entries of the root; absent: all
    unsigned workers = 0;                                      // 0: default
    std::function<bool()> shouldCancel = {};                   // polled on the caller's thread
    std::function<void(const ProgressTick&)> onProgress = {};  // called on the caller's thread
  };

  struct Result {
    std::vector<FoundArtifact> findings;    // depth first, siblings in byte order
    std::vector<WithheldFinding> withheld;  // artefacts that contain something to keep, in the same order
    bool cancelled = false;
    std::optional<std::string> rootObstacle;      // sentence on why the root was not scanned
    std::vector<std::string> unclaimedLeftovers;  // named like RemovalLeftover, but without the user's note; sorted
    std::uint64_t unreadableFolders = 0;          // skipped for lack of permission
    std::uint64_t starvedFolders = 0;             // skipped for lack of descriptors
    std::uint64_t brokenFolders = 0;              // unread or partly read because of errors such as I/O errors
    std::error_code brokenReason;                 // of one of them
    std::uint64_t unmeasuredArtifacts = 0;        // omitted because their size could not be determined
    std::uint64_t entriesVisited = 0;
    std::uint64_t ofOtherEcosystems = 0;            // artefacts that enabledEcosystems leaves out
    std::vector<std::uint64_t> projectsOfOffPacks;  // folders with a marker and an artefact of each pack that is off
  };

  /// Walks one root with several workers; the result does not depend on their number. File system failures are skipped
  /// and counted, not thrown. Findings have no activity date yet.
  static Result scan(const Request& request);
};

}  // namespace tidra
