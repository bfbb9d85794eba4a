#include "core/model/scan_artifact_finding.h"

#include "core/base/json_fields.h"

namespace tidra {

bool isToolBackedTarget(std::string_view path) {
  return path.starts_with("docker:") || path.starts_with("conda:") || path.starts_with("pip:");
}

nlohmann::json JsonCodec<ScanArtifactFinding>::encode(const ScanArtifactFinding& finding) {
  nlohmann::json object{
      {"label", JsonCodec<std::string>::encode(finding.label)},
      {"sizeBytes", finding.sizeBytes},
      {"ecosystemTag", JsonCodec<std::string>::encode(finding.ecosystemTag)},
      {"source", rawValue(finding.source)},
      {"safetyTier", rawValue(finding.safetyTier)},
  };
  putBytes(object, "path", finding.path);
  if (finding.groupRoot) putBytes(object, "groupRoot", *finding.groupRoot);
  putOptional(object, "restoreHint", finding.restoreHint);
  putOptional(object, "lastActivityDate", finding.lastActivityDate);
  putOptional(object, "ruleID", finding.ruleID);
  putOptional(object, "evidence", finding.evidence);
  return object;
}

ScanArtifactFinding JsonCodec<ScanArtifactFinding>::decode(const nlohmann::json& value, const std::string& where) {
  const JsonObjectReader object(value, where);
  return {.path = object.requiredBytes("path"),
          .label = object.required<std::string>("label"),
          .sizeBytes = object.required<std::uint64_t>("sizeBytes"),
          .ecosystemTag = object.required<std::string>("ecosystemTag"),
          .groupRoot = object.optionalBytes("groupRoot"),
          .source = object.valueOr("source", ArtifactSource::projectWalk),
          .safetyTier = object.valueOr("safetyTier", ArtifactSafetyTier::safe),
          .restoreHint = object.optional<std::string>("restoreHint"),
          .lastActivityDate = object.optional<TimePoint>("lastActivityDate"),
          .ruleID = object.optional<std::string>("ruleID"),
          .evidence = object.optional<std::string>("evidence")};
}

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
  return seed;
}
