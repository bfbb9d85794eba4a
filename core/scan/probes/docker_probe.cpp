#include "core/scan/probes/docker_probe.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <map>

#include "core/base/text.h"
#include "core/model/system_group_root.h"
#include "core/platform/files.h"

namespace tidra {
namespace {

/// Queries one engine. Answers are untrusted; what does not parse is skipped.
class DockerQuery {
 public:
  DockerQuery(const SystemProbeContext& context, const std::string& engine)
      : context_(context),
        questions_(context, engine, DockerArtifactProbe::timeoutSeconds, false),
        group_(TidraSystemGroupRoot::forCategory("docker")) {}

  ProbeReport run() {
    const auto version = ask({"info", "--format", "{{.ServerVersion}}"});
    if (!version || version->empty()) {
      report_.notes.push_back("Docker is installed but its daemon did not answer.");
      return report_;
    }
    addBuildCache();
    addDanglingImages();
    addUnusedVolumes();
    if (auto note = questions_.note()) report_.notes.push_back(std::move(*note));
    return report_;
  }

 private:
  std::optional<std::string> ask(std::vector<std::string> arguments) { return questions_.ask(std::move(arguments)); }

  void addBuildCache() {
    const auto usage = ask({"system", "df", "--format", "{{.Type}}\t{{.Size}}"});
    if (!usage) return;
    for (const std::string_view line : splitNonEmpty(*usage, '\n')) {
      const auto columns = split(trimmed(line), '\t');
      if (columns.size() != 2 || trimmed(columns[0]) != "Build Cache") continue;
      const auto bytes = DockerArtifactProbe::parseSize(trimmed(columns[1]));
      if (bytes && *bytes > 0) {
        add("docker-build-cache", "docker:prune:buildcache", "Docker build cache", *bytes, ArtifactSafetyTier::safe,
            "Rebuilds recreate build cache");
      }
      return;
    }
  }

  void addDanglingImages() {
    const auto listed = ask({"images", "--filter", "dangling=true", "--quiet", "--no-trunc"});
    if (!listed) return;
    auto images = validNames(*listed);
    const auto used = images.empty() ? std::set<std::string>{} : imagesOfContainers();
    std::erase_if(images, [&](const std::string& image) { return !isImageID(image) || used.contains(image); });
    std::sort(images.begin(), images.end());
    images.erase(std::unique(images.begin(), images.end()), images.end());
    if (images.empty()) return;
    std::vector<std::string> arguments{"inspect", "--format", "{{.Size}}"};
    arguments.insert(arguments.end(), images.begin(), images.end());
    std::uint64_t bytes = 0;
    if (const auto sizes = ask(std::move(arguments))) {
      for (const std::string_view line : splitNonEmpty(*sizes, '\n')) {
        bytes += DockerArtifactProbe::parseSize(trimmed(line)).value_or(0);
      }
      if (!isPlausibleSize(bytes)) bytes = 0;
    }
    add("docker-dangling-images", "docker:prune:dangling", fmt::format("Docker dangling images ({})", images.size()),
        bytes, ArtifactSafetyTier::safe, "docker pull re-downloads images as needed");
  }

  void addUnusedVolumes() {
    const auto listed = ask({"volume", "ls", "--format", "{{.Name}}"});
    const auto mounted = mountedVolumes();
    if (!listed || !mounted) return;
    const auto sizes = volumeSizes();
    for (const std::string& name : validNames(*listed)) {
      if (mounted->contains(name) || !isVolumeName(name)) continue;
      const auto bytes = sizes.find(name);
      add("docker-unused-volume", "docker:volume:" + name, "Docker volume: " + name,
          bytes == sizes.end() ? 0 : bytes->second, ArtifactSafetyTier::warning,
          "Volumes may contain database data — not recoverable");
    }
  }

  /// Returns the volumes of all containers, running or not; nullopt if one could not be queried: its volumes must not
  /// count as unused.
  std::optional<std::set<std::string>> mountedVolumes() {
    return wordsOfContainers("{{range .Mounts}}{{.Name}} {{end}}");
  }

  /// Returns the images of all containers, which pruning keeps; empty if one could not be queried.
  std::set<std::string> imagesOfContainers() {
    return wordsOfContainers("{{.Image}}").value_or(std::set<std::string>{});
  }

  /// Returns the words printed by inspecting all containers in this format; nullopt on failure.
  std::optional<std::set<std::string>> wordsOfContainers(const char* format) {
    const auto containers = listedContainers();
    if (!containers) return std::nullopt;
    std::set<std::string> words;
    if (containers->empty()) return words;
    std::vector<std::string> arguments{"inspect", "--format", format};
    arguments.insert(arguments.end(), containers->begin(), containers->end());
    const auto answer = ask(std::move(arguments));
    if (!answer) return std::nullopt;
    for (const std::string_view line : splitNonEmpty(*answer, '\n')) {
      for (const std::string_view word : splitNonEmpty(trimmed(line), ' ')) words.emplace(word);
    }
    return words;
  }

  /// Returns a name of each container, running or not; nullopt if one is invalid.
  std::optional<std::vector<std::string>> listedContainers() {
    const auto listed = ask({"ps", "-a", "--format", "{{.Names}}"});
    if (!listed) return std::nullopt;
    std::vector<std::string> names;
    for (const std::string_view line : splitNonEmpty(*listed, '\n')) {
      // A linked container is listed under several names, separated by commas.
      const auto name = split(trimmed(line), ',').front();
      if (!isValidName(name)) return std::nullopt;
      names.emplace_back(name);
    }
    return names;
  }

  std::map<std::string, std::uint64_t> volumeSizes() {
    std::map<std::string, std::uint64_t> sizes;
    const auto usage =
        ask({"system", "df", "-v", "--format", "{{range .Volumes}}{{.Name}}\t{{.Size}}{{println}}{{end}}"});
    if (!usage) return sizes;
    for (const std::string_view line : splitNonEmpty(*usage, '\n')) {
      const auto columns = split(trimmed(line), '\t');
      if (columns.size() != 2) continue;
      if (const auto bytes = DockerArtifactProbe::parseSize(trimmed(columns[1]))) sizes.emplace(columns[0], *bytes);
    }
    return sizes;
  }

  static bool isValidName(std::string_view name) {
    constexpr std::string_view allowed = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_.-:/";
    constexpr std::size_t longest = 256;
    return !name.empty() && name.size() <= longest && name.front() != '-' &&
           name.find_first_not_of(allowed) == std::string_view::npos;
  }

  /// Whether the engine accepts a volume name; "docker volume rm" must not interpret it as anything else.
  static bool isVolumeName(std::string_view name) {
    return name.front() != '.' && name.front() != '_' && name.find_first_of("/:") == std::string_view::npos;
  }

  static bool isImageID(std::string_view text) {
    constexpr std::string_view algorithm = "sha256:";
    if (text.starts_with(algorithm)) text.remove_prefix(algorithm.size());
    constexpr std::size_t shortest = 12;
    return text.size() >= shortest && text.find_first_not_of("0123456789abcdef") == std::string_view::npos;
  }

  static std::vector<std::string> validNames(const std::string& lines) {
    std::vector<std::string> names;
    for (const std::string_view line : splitNonEmpty(lines, '\n')) {
      if (isValidName(trimmed(line))) names.emplace_back(trimmed(line));
    }
    return names;
  }

  void add(const char* id, std::string path, std::string label, std::uint64_t bytes, ArtifactSafetyTier tier,
           const char* hint) {
    if (context_.exclusionFilter.bars(path)) return;
    report_.items.push_back({
        {.path = std::move(path),
         .label = std::move(label),
         .sizeBytes = bytes,
         .ecosystemTag = "general",
         .groupRoot = group_,
         .source = ArtifactSource::dockerCLI,
         .safetyTier = tier,
         .restoreHint = hint,
         .lastActivityDate = std::nullopt,
         .ruleID = id},
    });
  }

  const SystemProbeContext& context_;
  ToolQuestions questions_;
  std::string group_;
  ProbeReport report_;
};

}  // namespace

std::optional<std::string> DockerArtifactProbe::findEngine(const Environment& environment) {
  for (const char* usual : {"/opt/homebrew/bin/docker", "/usr/local/bin/docker"}) {
    if (ProcessRunner::isTrusted(usual)) return usual;
  }
  return ProcessRunner::which("docker", environment);
}

std::optional<std::uint64_t> DockerArtifactProbe::parseSize(std::string_view text) {
  struct Unit {
    std::string_view name;
    double factor;
  };
  constexpr std::array units{
      Unit{"", 1},         Unit{"b", 1},         Unit{"bytes", 1},        Unit{"kb", 1e3},
      Unit{"mb", 1e6},     Unit{"gb", 1e9},      Unit{"tb", 1e12},        Unit{"pb", 1e15},
      Unit{"kib", 1024.0}, Unit{"mib", 1048576}, Unit{"gib", 1073741824}, Unit{"tib", 1099511627776.0},
  };
  const auto end = std::min(text.find_first_not_of("0123456789."), text.size());
  const std::string digits(text.substr(0, end));
  if (digits.empty() || digits.front() == '.' || std::count(digits.begin(), digits.end(), '.') > 1) return std::nullopt;
  const std::string unit = asciiLowered(trimmed(text.substr(end)));
  for (const Unit& known : units) {
    if (known.name != unit) continue;
    const double bytes = std::strtod(digits.c_str(), nullptr) * known.factor;
    constexpr double mostBytes = 9e18;
    if (bytes > mostBytes || !isPlausibleSize(static_cast<std::uint64_t>(bytes))) return std::nullopt;
    return static_cast<std::uint64_t>(std::llround(bytes));
  }
  return std::nullopt;
}

ProbeReport DockerArtifactProbe::scan(const SystemProbeContext& context) const {
  const auto engine = engine_ ? engine_ : findEngine(context.resolver.environment);
  if (!engine) return {};
  return DockerQuery(context, *engine).run();
}

}  // namespace tidra
