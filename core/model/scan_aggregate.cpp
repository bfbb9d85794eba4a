#include "core/model/scan_aggregate.h"

#include <algorithm>
#include <limits>
#include <numeric>
#include <stdexcept>

#include "core/base/json_fields.h"
#include "core/platform/path_text.h"

namespace tidra {
namespace {

void addBytes(std::uint64_t& total, std::uint64_t bytes) {
  if (bytes > std::numeric_limits<std::uint64_t>::max() - total) {
    throw std::overflow_error("The sizes of the findings add up to more than 64 bits hold.");
  }
  total += bytes;
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

std::vector<const ScanArtifactFinding*> pointersTo(const std::vector<ScanArtifactFinding>& first,
                                                   const std::vector<ScanArtifactFinding>& second = {}) {
  std::vector<const ScanArtifactFinding*> pointers;
  pointers.reserve(first.size() + second.size());
  for (const auto* findings : {&first, &second}) {
    for (const auto& finding : *findings) pointers.push_back(&finding);
  }
  return pointers;
}

}  // namespace

std::string ScanAggregate::rootKey(const ScanArtifactFinding& finding) {
  if (finding.groupRoot) return *finding.groupRoot;
  return isToolBackedTarget(finding.path) ? finding.path : parentPath(finding.path);
}

ScanAggregate::ScanAggregate(const std::vector<ScanArtifactFinding>& findings)
    : artifactCount(static_cast<std::int64_t>(findings.size())), sampleFindings(largest(pointersTo(findings))) {
  for (const ScanArtifactFinding& finding : findings) {
    const std::string root = rootKey(finding);
    addBytes(totalBytes, finding.sizeBytes);
    projectRootPaths.insert(root);
    addBytes(bytesByEcosystem[finding.ecosystemTag], finding.sizeBytes);
    ecosystemProjectRoots[finding.ecosystemTag].insert(root);
    artifactsByProjectRoot[root].push_back(finding);
  }
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
  merged.sampleFindings = largest(pointersTo(sampleFindings, other.sampleFindings));
  return merged;
}

nlohmann::json JsonCodec<ScanAggregate>::encode(const ScanAggregate& aggregate) {
  // Two roots that are not UTF-8 may encode to the same key; their findings share one list.
  auto byRoot = nlohmann::json::object();
  for (const auto& [root, findings] : aggregate.artifactsByProjectRoot) {
    auto& list = byRoot[JsonCodec<std::string>::encode(root).get<std::string>()];
    for (const auto& finding : findings) list.push_back(JsonCodec<ScanArtifactFinding>::encode(finding));
  }
  return {
      {"totalBytes", aggregate.totalBytes},
      {"projectRootPaths", JsonCodec<std::set<std::string>>::encode(aggregate.projectRootPaths)},
      {"artifactCount", aggregate.artifactCount},
      {"bytesByEcosystem", JsonCodec<std::map<std::string, std::uint64_t>>::encode(aggregate.bytesByEcosystem)},
      {"ecosystemProjectRoots",
       JsonCodec<std::map<std::string, std::set<std::string>>>::encode(aggregate.ecosystemProjectRoots)},
      {"sampleFindings", JsonCodec<std::vector<ScanArtifactFinding>>::encode(aggregate.sampleFindings)},
      {"artifactsByProjectRoot", std::move(byRoot)},
  };
}

ScanAggregate JsonCodec<ScanAggregate>::decode(const nlohmann::json& value, const std::string& where) {
  const JsonObjectReader object(value, where);
  ScanAggregate aggregate;
  aggregate.totalBytes = object.required<std::uint64_t>("totalBytes");
  aggregate.projectRootPaths = object.required<std::set<std::string>>("projectRootPaths");
  aggregate.artifactCount = object.required<std::int64_t>("artifactCount");
  aggregate.bytesByEcosystem = object.required<std::map<std::string, std::uint64_t>>("bytesByEcosystem");
  aggregate.ecosystemProjectRoots =
      object.required<std::map<std::string, std::set<std::string>>>("ecosystemProjectRoots");
  aggregate.sampleFindings = object.required<std::vector<ScanArtifactFinding>>("sampleFindings");
  aggregate.artifactsByProjectRoot =
      object.required<std::map<std::string, std::vector<ScanArtifactFinding>>>("artifactsByProjectRoot");
  return aggregate;
}

}  // namespace tidra
