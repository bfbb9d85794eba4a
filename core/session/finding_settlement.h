// What becomes of the findings of a scan once all are known.
#pragma once

#include <functional>
#include <set>
#include <string>
#include <vector>

#include "core/scan/covered_places.h"
#include "core/session/scan_session.h"

namespace tidra {

class FindingSettlement {
 public:
  /// Request and outcome must outlive this. Ages count from the outcome's `generatedAt`.
  FindingSettlement(const ScanRequest& request, ScanOutcome& outcome, std::function<bool()> shouldCancel);

  /// Returns the projects of findings that the request asks for and that are at least this old.
  std::set<std::string> projectsOfAge(const Age& age) const;

  /// Raises findings by what lies in them (`probed`: places that the probes ranked), settles which lie in another one,
  /// counts and drops those that the request does not ask for, and bounds the sizes of the rest.
  void run(const std::vector<CoveredPlace>& probed);

 private:
  void settleNested(const std::vector<CoveredPlace>& probed);
  void countLeftOut(const FoundArtifact& found);
  bool isWanted(const FoundArtifact& found) const;
  bool isWantedInAnyTier(const FoundArtifact& found) const;
  bool isOfWantedEcosystem(const FoundArtifact& found) const;
  bool isOlderThan(const ScanArtifactFinding& finding, const Age& age) const;

  const ScanRequest& request_;
  ScanOutcome& outcome_;
  std::function<bool()> shouldCancel_;
};

}  // namespace tidra
