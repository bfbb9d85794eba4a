// Summary of a scan: totals, projects, the largest findings.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "core/base/json_codec.h"
#include "core/model/found_artifact.h"
#include "core/model/scan_artifact_finding.h"

namespace tidra {

struct ScanAggregate {
  std::uint64_t totalBytes = 0;
  std::set<std::string> projectRootPaths;  // every root key with a finding
  std::int64_t artifactCount = 0;
  std::map<std::string, std::uint64_t> bytesByEcosystem;
  std::map<std::string, std::set<std::string>> ecosystemProjectRoots;
  std::vector<ScanArtifactFinding> sampleFindings;                                 // largest first, at most sampleLimit
  std::map<std::string, std::vector<ScanArtifactFinding>> artifactsByProjectRoot;  // all findings, in input order

  static constexpr std::size_t sampleLimit = 32;

  ScanAggregate() = default;
  /// Throws std::overflow_error when the sizes exceed 64 bits.
  explicit ScanAggregate(std::vector<ScanArtifactFinding> findings);
  /// As the constructor, of a scan's findings.
  [[nodiscard]] static ScanAggregate of(const std::vector<FoundArtifact>& found);

  /// Returns the union, this one's findings first. An empty aggregate is neutral.
  ScanAggregate merging(const ScanAggregate& other) const;

  /// The group root of a finding, else the path of a tool-backed target, else the parent folder.
  static std::string rootKey(const ScanArtifactFinding& finding);

  bool operator==(const ScanAggregate&) const = default;

 private:
  void add(ScanArtifactFinding finding);
};

extern template struct RecordCodec<ScanAggregate>;
template <>
struct JsonCodec<ScanAggregate> : RecordCodec<ScanAggregate> {};

}  // namespace tidra
