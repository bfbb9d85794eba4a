#include "app/state/stored_scan.h"

#include "app/state/last_scan_store.h"
#include "app/state/state_folders.h"
#include "app/state/state_home.h"

namespace tidra {

void storeScan(const ScanReport& report, const std::vector<FoundArtifact>& findings,
               const TidraPathResolver& resolver) {
  requireHomeForState(resolver);
  const auto preferences = openPreferences(resolver, [](const std::string&) {});
  LastScanStore store(*preferences, stateFolders(currentPlatform, resolver).applicationData);
  // The results of a whole scan are worth more than a part of newer ones.
  if (report.partial) {
    const auto last = store.load();
    if (last && !last->partial) return;
  }
  store.save(ScanResultsSummary::make(report), report.partial, ScanAggregate::of(findings), report.generatedAt);
}

}  // namespace tidra
