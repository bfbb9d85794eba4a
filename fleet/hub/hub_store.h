// Everything that the hub keeps: its hosts, in memory and in a file each, the log of events, and the policies.
// docs/hub.md describes the data folder.
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

/// The hosts at one moment, by name in byte order. Later reports do not change what is pointed to.
using HubInventory = std::vector<std::shared_ptr<const HubHostFile>>;

/// Which hosts a listing shows.
struct HubHostQuery {
  std::string text = {};  // in the host's name, policy, note or a tag, whatever the case of ASCII letters; empty: any
  std::optional<HubHostStatus> status = {};
  std::optional<TidraPlatform> platform = {};
  std::size_t offset = 0;                 // how many of those are passed over
  std::optional<std::size_t> limit = {};  // absent: all of the rest
  bool withHistory = true;
};

/// One host and how it is doing. Later reports do not change what is pointed to.
struct HubHostView {
  std::shared_ptr<const HubHostFile> file;
  HubHostCondition condition;
};

struct HubHostSelection {
  std::size_t total = 0;  // all that the query fits, whatever its offset and limit
  std::vector<HubHostView> hosts;
};

struct HubHostPage {
  std::size_t total = 0;  // all that the query fits, whatever its offset and limit
  std::vector<HubHostRecord> hosts;
};

/// May be called from any thread; one lock is held while anything is changed, the writing of its file included. Reports
/// that arrive meanwhile are filed together. What is changed is on the disk before memory changes, so that a failure,
/// std::system_error, leaves a host as it was. Only the event about it may be missing: what has happened is not taken
/// back for want of a line in the log.
class HubStore {
 public:
  /// Takes sentences about what went wrong without the caller's having to know. It is called with the store locked and
  /// must not call it.
  using WarningSink = std::function<void(const std::string&)>;

  /// Makes the folders that are missing, takes the folder for this hub and loads every host. `staleAfter` is in
  /// seconds. Events that cannot be logged go to `warn`, if any. Throws HubStoreError when another hub has the folder
  /// and InputError when it cannot be used.
  HubStore(std::string dataDir, double staleAfter, std::string title, TimePoint now, WarningSink warn = {});

  const std::string& dataDir() const { return folder_.path(); }
  double staleAfter() const { return staleAfter_; }
  const std::string& title() const { return title_; }

  /// Tries whether files can be made in the data folder.
  bool isWritable() const;

  /// Sentences about host files that were left out when the hosts were loaded. The files stay as they are.
  const std::vector<std::string>& loadWarnings() const { return loadWarnings_; }

  struct Ingested {
    std::shared_ptr<const HubHostFile> file;
    std::int64_t hostsKnown = 0;
  };
  /// Files a report that arrived at `now`. Throws HubStoreError, after an event about it, for a new host whose file
  /// belongs to another one.
  Ingested ingest(const HubHostReport& report, TimePoint now);  // hub_ingest.cpp

  HubInventory inventory() const;
  /// Copies nothing of the hosts; `withHistory` of the query means nothing here.
  HubHostSelection select(const HubHostQuery& query, TimePoint now) const;
  std::optional<HubHostView> find(const std::string& host, TimePoint now) const;
  std::vector<HubHostRecord> records(TimePoint now) const;
  HubHostPage hosts(const HubHostQuery& query, TimePoint now) const;
  std::optional<HubHostRecord> record(const std::string& host, TimePoint now) const;

  /// Removes the host's file and forgets the host. False for an unknown one.
  bool remove(const std::string& host, TimePoint now);

  /// Sets the trimmed note; an empty one clears it. Either is also the answer to a warning about the host's audit log,
  /// which ends with it. False for an unknown host.
  bool setNote(const std::string& host, std::string_view note, TimePoint now);

  std::vector<std::string> policyNames() const;
  /// None for an unknown or bad name.
  std::optional<std::string> policy(const std::string& name) const;
  /// Throws HubStoreError for a bad name. The document is not looked into.
  void putPolicy(const std::string& name, std::string_view document, TimePoint now);
  /// False for an unknown name; throws as putPolicy does.
  bool removePolicy(const std::string& name, TimePoint now);

  /// Throws std::system_error when the log cannot be written.
  void append(const HubEvent& event);
  /// The last `count` lines of the log, oldest first.
  std::vector<HubEvent> recentEvents(std::size_t count) const;

  HubSummary summary(TimePoint now) const;

  /// The text exposition for Prometheus. `version` is the program's.
  std::string metrics(TimePoint now, const std::string& version) const;

 private:
  struct Host {
    std::shared_ptr<const HubHostFile> file;
    std::string fileName;
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
  std::map<std::string, std::string> owners_;  // of files, by what the file system takes for their name
  std::set<std::string> damaged_;              // files, by the same, that must not be overwritten
  FleetTotals totals_;
  std::string text_;  // room for the text of a host's file
};

}  // namespace tidra
