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
#include "core/scan/restore_hints.h"
#include "core/scan/rule_index.h"

namespace tidra {
namespace {

void raise(ScanArtifactFinding& finding, std::string reason) {
  finding.safetyTier = ArtifactSafetyTier::warning;
  finding.restoreHint = std::move(reason);
}

/// What one thread reads about the surroundings of findings.
struct Surroundings {
  Surroundings(const TidraPathResolver& resolver, const RuleIndex& rules)
      : evidence(resolver), outputs(resolver, rules) {}

  ArtifactEvidence evidence;
  EnclosingOutput outputs;
};

/// What all threads read.
struct Common {
  const TidraPathResolver& resolver;
  RuleIndex rules;
  RestoreHints hints;
  InstalledPrograms programs;
};

/// Returns why a finding of the walk is a part of what a scan would take or keep as a whole; absent for others.
std::optional<std::string> whyPart(const std::string& place, EnclosingOutput& outputs,
                                   const TidraPathResolver& resolver) {
  if (const auto output = outputs.around(place)) {
    return fmt::format("Is part of {}, which a build made", lastPathComponent(*output));
  }
  const auto whole = outputs.findingAround(place);
  if (!whole) return std::nullopt;
  return fmt::format("Is part of {}, which a scan of {} takes or keeps as a whole", lastPathComponent(*whole),
                     resolver.displayPath(parentPath(*whole)));
}

void assess(FoundArtifact& found, Surroundings& surroundings, const Common& common) {
  ScanArtifactFinding& finding = found.finding;
  if (auto hint = common.hints.of(*finding.ruleID, found.place)) finding.restoreHint = std::move(hint);
  // Packages may be named "venv" (in Python's standard library), "build" or "coverage".
  if (pathFacts(joinedPath(found.place, "__init__.py"))) return raise(finding, "Is a Python package of that name");
  if (const auto program = common.programs.ownerOf(finding.path, finding.groupRoot)) {
    return raise(finding, fmt::format("Belongs to the installed program {}", *program));
  }
  if (auto reason = whyPart(found.place, surroundings.outputs, common.resolver)) {
    if (finding.safetyTier < ArtifactSafetyTier::caution) {
      finding.safetyTier = ArtifactSafetyTier::caution;
      finding.restoreHint = std::move(reason);
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
  if (const auto mention = common.programs.mentionedBy(finding.path, finding.groupRoot)) {
    finding.safetyTier = ArtifactSafetyTier::caution;
    finding.restoreHint = fmt::format("Named in {}, which may need it", *mention);
  }
}

}  // namespace

std::vector<std::string> assessFindings(std::vector<FoundArtifact>& findings, const RuleCatalog& catalog,
                                        TidraPlatform platform, const TidraPathResolver& resolver,
                                        const std::function<bool()>& shouldStop) {
  if (findings.empty()) return {};
  // Batches, because neighbouring findings share ignore files.
  constexpr std::size_t batch = 32;
  const Common common{resolver, RuleIndex(catalog, platform), RestoreHints(catalog), InstalledPrograms(resolver)};
  std::atomic<std::size_t> next{0};
  std::atomic<bool> stopped{false};
  const auto work = [&](bool polls) {
    Surroundings surroundings(resolver, common.rules);
    for (std::size_t start = next.fetch_add(batch); start < findings.size(); start = next.fetch_add(batch)) {
      const std::size_t end = std::min(start + batch, findings.size());
      for (std::size_t i = start; i < end && !stopped; ++i) {
        if (polls && shouldStop()) stopped = true;
        if (findings[i].isOfProject() && findings[i].finding.ruleID) assess(findings[i], surroundings, common);
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
  if (common.programs.partlyRead().empty()) return {};
  return {fmt::format("Not all entries of {} could be read; look yourself whether what you remove is used from there.",
                      escapedForTerminal(joined(common.programs.partlyRead(), ", ")))};
}

}  // namespace tidra
