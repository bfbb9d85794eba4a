#include "core/scan/finding_assessment.h"

#include <fmt/format.h>

#include <algorithm>
#include <atomic>

#include "core/base/joining_thread.h"
#include "core/base/text.h"
#include "core/platform/directory_reader.h"
#include "core/platform/path_text.h"
#include "core/platform/spare_threads.h"
#include "core/scan/artifact_evidence.h"
#include "core/scan/enclosing_output.h"
#include "core/scan/installed_programs.h"

namespace tidra {
namespace {

void raise(ScanArtifactFinding& finding, std::string reason) {
  finding.safetyTier = ArtifactSafetyTier::warning;
  finding.restoreHint = std::move(reason);
}

/// What one thread reads about the surroundings of findings.
struct Surroundings {
  ArtifactEvidence evidence;
  EnclosingOutput outputs;
};

void assess(FoundArtifact& found, Surroundings& surroundings, const InstalledPrograms& programs) {
  ScanArtifactFinding& finding = found.finding;
  // Packages may be named "venv" (in Python's standard library), "build" or "coverage".
  if (pathFacts(joinedPath(found.place, "__init__.py"))) return raise(finding, "Is a Python package of that name");
  if (const auto program = programs.ownerOf(finding.path, finding.groupRoot)) {
    return raise(finding, fmt::format("Belongs to the installed program {}", *program));
  }
  if (const auto output = surroundings.outputs.around(found.place)) {
    if (finding.safetyTier < ArtifactSafetyTier::caution) {
      finding.safetyTier = ArtifactSafetyTier::caution;
      finding.restoreHint = fmt::format("Is part of {}, which a build made", lastPathComponent(*output));
    }
    return;
  }
  // The place, since symbolic links of the scan's root would hide the real ancestors.
  auto verdict = surroundings.evidence.of(found.place, *finding.ruleID);
  if (const auto* gap = std::get_if<EvidenceGap>(&verdict)) {
    finding.noEvidence = gap->text();
  } else {
    finding.evidence = std::move(std::get<std::string>(verdict));
  }
  if (finding.safetyTier >= ArtifactSafetyTier::caution) return;
  if (const auto mention = programs.mentionedBy(finding.path, finding.groupRoot)) {
    finding.safetyTier = ArtifactSafetyTier::caution;
    finding.restoreHint = fmt::format("Named in {}, which may need it", *mention);
  }
}

}  // namespace

std::vector<std::string> assessFindings(std::vector<FoundArtifact>& findings, const TidraPathResolver& resolver,
                                        const std::function<bool()>& shouldStop) {
  if (findings.empty()) return {};
  // Batches, because neighbouring findings share ignore files.
  constexpr std::size_t batch = 32;
  const InstalledPrograms programs(resolver);
  std::atomic<std::size_t> next{0};
  std::atomic<bool> stopped{false};
  const auto work = [&](bool polls) {
    Surroundings surroundings{ArtifactEvidence(resolver), EnclosingOutput(resolver)};
    for (std::size_t start = next.fetch_add(batch); start < findings.size(); start = next.fetch_add(batch)) {
      const std::size_t end = std::min(start + batch, findings.size());
      for (std::size_t i = start; i < end && !stopped; ++i) {
        if (polls && shouldStop()) stopped = true;
        if (findings[i].isOfProject() && findings[i].finding.ruleID) assess(findings[i], surroundings, programs);
      }
    }
  };
  constexpr std::size_t mostThreads = 8;
  std::vector<JoiningThread> threads;
  const std::size_t wanted = std::min(mostThreads, findings.size() / batch);
  while (threads.size() < wanted) {
    auto thread = startSpareThread([&work] { work(false); });
    if (!thread) break;
    threads.push_back(std::move(*thread));
  }
  work(true);
  if (programs.partlyRead().empty()) return {};
  return {fmt::format("Not all entries of {} could be read; look yourself whether what you remove is used from there.",
                      escapedForTerminal(joined(programs.partlyRead(), ", ")))};
}

}  // namespace tidra
