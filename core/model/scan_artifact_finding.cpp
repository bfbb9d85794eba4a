#include "core/model/scan_artifact_finding.h"

#include "core/base/record_fields.h"

namespace tidra {

bool isToolBackedTarget(std::string_view path) {
  return path.starts_with("docker:") || path.starts_with("conda:") || path.starts_with("pip:");
}

template <>
constexpr auto fieldsOf<ScanArtifactFinding> = recordFields(
    bytesField("path", &ScanArtifactFinding::path), field("label", &ScanArtifactFinding::label),
    field("sizeBytes", &ScanArtifactFinding::sizeBytes), field("ecosystemTag", &ScanArtifactFinding::ecosystemTag),
    bytesField("groupRoot", &ScanArtifactFinding::groupRoot), fieldOrDefault("source", &ScanArtifactFinding::source),
    fieldOrDefault("safetyTier", &ScanArtifactFinding::safetyTier),
    field("restoreHint", &ScanArtifactFinding::restoreHint),
    field("lastActivityDate", &ScanArtifactFinding::lastActivityDate), field("ruleID", &ScanArtifactFinding::ruleID),
    field("evidence", &ScanArtifactFinding::evidence), field("noEvidence", &ScanArtifactFinding::noEvidence),
    field("diskBytes", &ScanArtifactFinding::diskBytes), field("freeableBytes", &ScanArtifactFinding::freeableBytes),
    field("difference", &ScanArtifactFinding::difference));

template struct RecordCodec<ScanArtifactFinding>;

}  // namespace tidra

namespace {

template <class T>
void mix(std::size_t& seed, const T& value) {
  constexpr std::size_t goldenRatio = 0x9e3779b97f4a7c15U;
  seed ^= std::hash<T>{}(value) + goldenRatio + (seed << 6U) + (seed >> 2U);
}

}  // namespace

std::size_t std::hash<tidra::ScanArtifactFinding>::operator()(
    const tidra::ScanArtifactFinding& finding) const noexcept {
  std::size_t seed = 0;
  mix(seed, finding.path);
  mix(seed, finding.label);
  mix(seed, finding.sizeBytes);
  mix(seed, finding.ecosystemTag);
  mix(seed, finding.groupRoot);
  mix(seed, finding.source);
  mix(seed, finding.safetyTier);
  mix(seed, finding.restoreHint);
  mix(seed, finding.lastActivityDate ? finding.lastActivityDate->time_since_epoch().count() : -1);
  mix(seed, finding.ruleID);
  mix(seed, finding.evidence);
  mix(seed, finding.noEvidence);
  mix(seed, finding.diskBytes);
  mix(seed, finding.freeableBytes);
  mix(seed, finding.difference);
  return seed;
}
