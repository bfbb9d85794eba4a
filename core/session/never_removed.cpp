#include "core/session/never_removed.h"

namespace tidra {

NeverRemoved::NeverRemoved(const TidraScanExclusionFilter& written, const TidraScanExclusionFilter& resolved)
    : isEmpty_(written.keptPrefixes.empty() && written.keptPatterns.empty()) {
  for (const std::string& path : written.keptPrefixes) writtenPaths_.add(path);
  for (const std::string& path : resolved.keptPrefixes) places_.add(path);
  for (const std::string& pattern : written.keptPatterns) writtenPatterns_.addPattern(pattern);
  for (std::size_t i = written.keptPatterns.size(); i < resolved.keptPatterns.size(); ++i) {
    resolvedPatterns_.addPattern(resolved.keptPatterns[i]);
  }
}

bool NeverRemoved::appliesUnseen(const FoundArtifact& found) const {
  const std::string& path = found.finding.path;
  const bool isInFileSystem = found.isOfProject() || found.finding.source == ArtifactSource::systemProbe;
  if (isEmpty_ || !isInFileSystem || found.place.empty()) return false;
  // Patterns are matched one after another, so only where the spellings differ.
  const bool applies = places_.reachesInto(found.place) || resolvedPatterns_.bars(found.place) ||
                       (found.place != path && (resolvedPatterns_.bars(path) || writtenPatterns_.bars(found.place)));
  return applies && !writtenPaths_.reachesInto(path) && !writtenPatterns_.bars(path);
}

}  // namespace tidra
