#include "core/dispose/tool_figures.h"

#include "core/base/text.h"
#include "core/model/scan_artifact_finding.h"
#include "core/scan/probes/docker_probe.h"

namespace tidra {
namespace {

using Bytes = std::optional<std::uint64_t>;

/// Conda prints "MB" for powers of 1024.
Bytes condaSize(std::string_view text) {
  std::string size(trimmed(text));
  if (size.size() > 2 && size.ends_with('b') &&
      std::string_view("kmgt").find(size[size.size() - 2]) != std::string::npos)
    size.insert(size.size() - 1, "i");
  return DockerArtifactProbe::parseSize(size);
}

std::string_view inParentheses(std::string_view line) {
  const auto begin = line.find('(');
  if (begin == std::string_view::npos) return {};
  return line.substr(begin + 1, line.find(')', begin) - begin - 1);
}

std::string_view afterColon(std::string_view line) { return trimmed(line.substr(line.find(':') + 1)); }

/// Parses "Total reclaimed space: 1.2GB", or "Total: 1.2GB" of buildx.
Bytes dockerFigure(std::string_view line) {
  if (!line.starts_with("total reclaimed space:") && !line.starts_with("total:")) return std::nullopt;
  return DockerArtifactProbe::parseSize(afterColon(line));
}

/// Parses "Will remove 93 (222.3 MB) tarball(s).", or "Total: 222.3 MB" of the long form.
Bytes condaFigure(std::string_view line) {
  if (line.starts_with("there are no ")) return 0;
  if (line.starts_with("total:")) return condaSize(afterColon(line));
  return line.starts_with("will remove ") ? condaSize(inParentheses(line)) : std::nullopt;
}

/// Parses "Files removed: 364 (45.6 MB)"; pip before 25 prints no size.
Bytes pipFigure(std::string_view line) {
  if (!line.starts_with("files removed:")) return std::nullopt;
  if (afterColon(line) == "0") return 0;
  return DockerArtifactProbe::parseSize(inParentheses(line));
}

Bytes (*figureOf(const std::string& target))(std::string_view) {
  if (target.starts_with("docker:prune:")) return dockerFigure;
  if (target.starts_with("conda:clean:")) return condaFigure;
  if (target.starts_with(pipTargetPrefix)) return pipFigure;
  return nullptr;
}

}  // namespace

std::optional<std::int64_t> reclaimedBytes(const std::string& target, std::string_view output) {
  auto* const figure = figureOf(target);
  std::optional<std::int64_t> bytes;
  if (figure == nullptr) return bytes;
  const std::string text = asciiLowered(output);
  // The last line with a figure is the total; earlier ones are its parts.
  for (const std::string_view line : splitNonEmpty(text, '\n')) {
    if (const Bytes found = figure(trimmed(line))) bytes = static_cast<std::int64_t>(*found);
  }
  return bytes;
}

}  // namespace tidra
