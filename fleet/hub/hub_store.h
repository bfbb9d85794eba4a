// The hub's data: hosts, in memory and in a file each, the event log, and the policies. Data folder: docs/hub.md.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "fleet/hub/combined_work.h"
#include "fleet/hub/data_folder.h"
#include "fleet/hub/event_log.h"
#include "fleet/hub/fleet_totals.h"
#include "fleet/hub/host_loading.h"
#include "fleet/hub/host_status.h"
#include "fleet/hub/hub_policies.h"
#include "fleet/hub/hub_store_error.h"
#include "fleet/hub/protocol/hub_records.h"
#include "fleet/hub/protocol/hub_summary.h"

namespace tidra {

/// A snapshot of the hosts, in byte order of names. The hosts pointed to are immutable.
using HubInventory = std::vector<std::shared_ptr<const HubHostFile>>;

/// The hosts to list.
struct HubHostQuery {
  std::string text = {};  // in name, policy, note or a tag, ignoring ASCII case; empty: any
  std::optional<HubHostStatus> status = {};
  std::optional<TidraPlatform> platform = {};
  std::size_t offset = 0;                 // how many matches to skip
  std::optional<std::size_t> limit = {};  // absent: no limit
  bool withHistory = true;
};

/// A host and its condition. The host pointed to is immutable.
struct HubHostView {
  std::shared_ptr<const HubHostFile> file;
  HubHostCondition condition;
};

struct HubHostSelection {
  std::size_t total = 0;  // matches, regardless of offset and limit
  std::vector<HubHostView> hosts;
};

struct HubHostPage {
  std::size_t total = 0;  // matches, regardless of offset and limit
  std::vector<HubHostRecord> hosts;
};

/// Thread-safe: one mutex is held during each change, including the file write; reports that arrive meanwhile are
/// committed as a group. Write-ahead: the disk is updated before memory. A failure, std::system_error, leaves memory
/// unchanged; if only flushing the folder failed, a restart may read the new file, or find none. The event may be
/// missing: a change is not undone when the log cannot be written.
class HubStore {
 public:
  /// Called with warnings that do not concern the caller. Runs with the store locked: it must not call the store.
  using WarningSink = std::function<void(const std::string&)>;

  /// Creates missing folders, locks the folder and loads all hosts. `staleAfter` is in seconds. Events that cannot be
  /// logged go to `warn`, if any. Throws HubStoreError when another hub holds the folder, and InputError when it is
  /// unusable.
  HubStore(std::string dataDir, double staleAfter, std::string title, TimePoint now, WarningSink warn = {});

  const std::string& dataDir() const { return folder_.path(); }
  double staleAfter() const { return staleAfter_; }
  const std::string& title() const { return title_; }

  /// True when a file can be created in the data folder.
  bool isWritable() const;

  /// Warnings about host files that were skipped on loading. The files are kept.
  const std::vector<std::string>& loadWarnings() const { return loadWarnings_; }

  struct Ingested {
    std::shared_ptr<const HubHostFile> file;
    std::int64_t hostsKnown = 0;
  };
  /// Stores a report that arrived at `now`. For a new host whose file name belongs to another host: logs an event and
  /// throws HubStoreError.
  Ingested ingest(const HubHostReport& report, TimePoint now);  // hub_ingest.cpp

  HubInventory inventory() const;
  /// Does not copy hosts; ignores `withHistory` of the query.
  HubHostSelection select(const HubHostQuery& query, TimePoint now) const;
  std::optional<HubHostView> find(const std::string& host, TimePoint now) const;
  std::vector<HubHostRecord> records(TimePoint now) const;
  HubHostPage hosts(const HubHostQuery& query, TimePoint now) const;
  std::optional<HubHostRecord> record(const std::string& host, TimePoint now) const;

  /// Removes a host and its file. False for an unknown host.
  bool remove(const std::string& host, TimePoint now);

  /// Sets the trimmed note; an empty one clears it. Either acknowledges a warning about the host's audit log. False for
  /// an unknown host.
  bool setNote(const std::string& host, std::string_view note, TimePoint now);

  std::vector<std::string> policyNames() const;
  /// None for an unknown or invalid name.
  std::optional<std::string> policy(const std::string& name) const;
  /// Throws HubStoreError for an invalid name. Does not interpret the document.
  void putPolicy(const std::string& name, std::string_view document, TimePoint now);
  /// False for an unknown name; throws as putPolicy does.
  bool removePolicy(const std::string& name, TimePoint now);

  /// Throws std::system_error when the log cannot be written.
  void append(const HubEvent& event);
  /// The last `count` events, oldest first.
  std::vector<HubEvent> recentEvents(std::size_t count) const;

  HubSummary summary(TimePoint now) const;

  /// The Prometheus text format. `version` is the program's.
  std::string metrics(TimePoint now, const std::string& version) const;

 private:
  struct Host {
    std::shared_ptr<const HubHostFile> file;
    std::string fileName;
    bool isInOrder = true;  // the times of its history ascend, as they do unless the clock was put back

    static Host make(std::shared_ptr<const HubHostFile> file, std::string fileName);
  };
  struct View;
  struct Filing;

  void loadHosts(TimePoint now);
  void admit(LoadedHost loaded, TimePoint now);
  void leaveOut(const std::string& fileName, const std::string& reason, TimePoint now);
  void file(std::vector<Filing*> filings);
  void fileRound(const std::vector<Filing*>& filings);
  void stage(Filing& filing);
  void admit(Filing& filing);
  std::string fileNameFor(const std::string& host) const;
  void requireOwnFile(const Filing& filing);
  void setDamagedAside(const std::string& fileName);
  std::string hostPath(const std::string& fileName) const;
  void log(const HubEvent& event, EventLog::Durability durability = EventLog::Durability::machine);
  View view(TimePoint now) const;

  HubDataFolder folder_;
  const double staleAfter_;
  const std::string title_;
  const WarningSink warn_;
  const HubPolicies policies_;
  std::vector<std::string> loadWarnings_;
  CombinedWork<Filing> filings_;

  mutable std::mutex lock_;  // guards everything below, the folder's files included
  EventLog events_;
  std::map<std::string, Host> hosts_;
  std::map<std::string, std::string> owners_;  // file key (see hostFileKey) to host
  std::set<std::string> damaged_;              // file keys that must not be overwritten
  FleetTotals totals_;
  std::string text_;  // reused buffer for the text of a host's file
};

}  // namespace tidra
