#include "core/session/size_bounds.h"

#include <fmt/format.h>

#include <algorithm>
#include <stdexcept>

#include "core/base/quantities.h"
#include "core/base/text.h"

namespace tidra {
namespace {

/// Limited to what the signed figures of a report hold.
std::uint64_t bounded(std::uint64_t bytes) { return unsignedBytes(signedBytes(bytes)); }

std::string largestNamed(const std::vector<FoundArtifact>& findings, const TidraPathResolver& resolver) {
  constexpr std::size_t mostNamed = 3;
  std::vector<const ScanArtifactFinding*> largest;
  largest.reserve(findings.size());
  for (const FoundArtifact& found : findings) largest.push_back(&found.finding);
  const auto end = largest.begin() + static_cast<std::ptrdiff_t>(std::min(mostNamed, largest.size()));
  std::partial_sort(largest.begin(), end, largest.end(),
                    [](const auto* a, const auto* b) { return a->sizeBytes > b->sizeBytes; });
  std::vector<std::string> names;
  for (auto finding = largest.begin(); finding != end; ++finding) {
    names.push_back(fmt::format("{} ({} bytes)", escapedForTerminal(resolver.displayPath((*finding)->path)),
                                (*finding)->sizeBytes));
  }
  return fmt::format("The largest are {}.", joined(names, ", "));
}

}  // namespace

std::optional<std::string> boundSizes(std::vector<FoundArtifact>& findings, const TidraPathResolver& resolver) {
  std::optional<std::uint64_t> sum = 0;
  for (FoundArtifact& found : findings) {
    std::uint64_t& bytes = found.finding.sizeBytes;
    bytes = bounded(bytes);
    if (sum) sum = exactSum(*sum, bytes);
  }
  if (!sum) {
    throw std::overflow_error(
        fmt::format("The sizes of the findings add up to more than 64 bits hold, so nothing is reported and nothing "
                    "removed. {} Exclude those that claim too much (--exclude), or remove them yourself.",
                    largestNamed(findings, resolver)));
  }
  if (bounded(*sum) == *sum) return std::nullopt;
  return fmt::format("The sizes add up to more than a report holds, so its totals stay at the largest figure. {}",
                     largestNamed(findings, resolver));
}

}  // namespace tidra
