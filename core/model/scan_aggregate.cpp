#include "core/model/scan_aggregate.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>

#include "core/base/quantities.h"
#include "core/base/record_fields.h"
#include "core/platform/path_text.h"

namespace tidra {
namespace {

void addBytes(std::uint64_t& total, std::uint64_t bytes) {
  const auto sum = exactSum(total, bytes);
  if (!sum) throw std::overflow_error("The sizes of the findings add up to more than 64 bits hold.");
  total = *sum;
}

/// Returns the largest findings, largest first. Sorts pointers to avoid copying all findings.
std::vector<ScanArtifactFinding> largest(std::vector<const ScanArtifactFinding*> candidates) {
  const auto kept = std::min(candidates.size(), ScanAggregate::sampleLimit);
  const auto middle = candidates.begin() + static_cast<std::ptrdiff_t>(kept);
  std::partial_sort(candidates.begin(), middle, candidates.end(), [](const auto* a, const auto* b) {
    return a->sizeBytes != b->sizeBytes ? a->sizeBytes > b->sizeBytes : a->path < b->path;
  });
  std::vector<ScanArtifactFinding> findings;
  findings.reserve(kept);
  std::transform(candidates.begin(), middle, std::back_inserter(findings),
                 [](const auto* finding) { return *finding; });
  return findings;
}

const ScanArtifactFinding* pointerTo(const ScanArtifactFinding& finding) { return &finding; }
const ScanArtifactFinding* pointerTo(const FoundArtifact& found) { return &found.finding; }

template <class Findings>
std::vector<const ScanArtifactFinding*> pointersTo(const Findings& findings) {
  std::vector<const ScanArtifactFinding*> pointers;
  pointers.reserve(findings.size());
  for (const auto& finding : findings) pointers.push_back(pointerTo(finding));
  return pointers;
}

}  // namespace

std::string ScanAggregate::rootKey(const ScanArtifactFinding& finding) {
  if (finding.groupRoot) return *finding.groupRoot;
  return isToolBackedTarget(finding.path) ? finding.path : parentPath(finding.path);
}

ScanAggregate::ScanAggregate(std::vector<ScanArtifactFinding> findings)
    : sampleFindings(largest(pointersTo(findings))) {
  for (ScanArtifactFinding& finding : findings) add(std::move(finding));
}

ScanAggregate ScanAggregate::of(const std::vector<FoundArtifact>& found) {
  ScanAggregate aggregate;
  aggregate.sampleFindings = largest(pointersTo(found));
  for (const FoundArtifact& one : found) aggregate.add(one.finding);
  return aggregate;
}

void ScanAggregate::add(ScanArtifactFinding finding) {
  const std::string root = rootKey(finding);
  ++artifactCount;
  addBytes(totalBytes, finding.sizeBytes);
  projectRootPaths.insert(root);
  addBytes(bytesByEcosystem[finding.ecosystemTag], finding.sizeBytes);
  ecosystemProjectRoots[finding.ecosystemTag].insert(root);
  artifactsByProjectRoot[root].push_back(std::move(finding));
}

ScanAggregate ScanAggregate::merging(const ScanAggregate& other) const {
  if (artifactCount == 0) return other;
  if (other.artifactCount == 0) return *this;
  ScanAggregate merged = *this;
  addBytes(merged.totalBytes, other.totalBytes);
  merged.artifactCount += other.artifactCount;
  merged.projectRootPaths.insert(other.projectRootPaths.begin(), other.projectRootPaths.end());
  for (const auto& [tag, bytes] : other.bytesByEcosystem) addBytes(merged.bytesByEcosystem[tag], bytes);
  for (const auto& [tag, roots] : other.ecosystemProjectRoots) {
    merged.ecosystemProjectRoots[tag].insert(roots.begin(), roots.end());
  }
  for (const auto& [root, findings] : other.artifactsByProjectRoot) {
    auto& list = merged.artifactsByProjectRoot[root];
    list.insert(list.end(), findings.begin(), findings.end());
  }
  auto samples = pointersTo(sampleFindings);
  const auto others = pointersTo(other.sampleFindings);
  samples.insert(samples.end(), others.begin(), others.end());
  merged.sampleFindings = largest(std::move(samples));
  return merged;
}

template <>
constexpr auto fieldsOf<ScanAggregate> = recordFields(
    field("totalBytes", &ScanAggregate::totalBytes), field("projectRootPaths", &ScanAggregate::projectRootPaths),
    field("artifactCount", &ScanAggregate::artifactCount), field("bytesByEcosystem", &ScanAggregate::bytesByEcosystem),
    field("ecosystemProjectRoots", &ScanAggregate::ecosystemProjectRoots),
    field("sampleFindings", &ScanAggregate::sampleFindings),
    field("artifactsByProjectRoot", &ScanAggregate::artifactsByProjectRoot));

template struct RecordCodec<ScanAggregate>;

}  // namespace tidra
