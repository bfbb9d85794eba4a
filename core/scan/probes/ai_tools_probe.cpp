#include "core/scan/probes/ai_tools_probe.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "core/base/text.h"
#include "core/model/system_group_root.h"
#include "core/platform/directory_reader.h"
#include "core/platform/files.h"
#include "core/platform/path_text.h"

namespace tidra {
namespace {

struct Editor {
  const char* name;
  const char* folder;  // relative to the application settings
};

constexpr std::array editors{Editor{"VS Code", "Code"}, Editor{"VS Code Insiders", "Code - Insiders"},
                             Editor{"Cursor", "Cursor"}};

struct AgentExtension {
  const char* id;
  const char* name;
};

constexpr std::array agentExtensions{AgentExtension{"saoudrizwan.claude-dev", "Cline"},
                                     AgentExtension{"rooveterinaryinc.roo-cline", "Roo Code"},
                                     AgentExtension{"kilocode.kilo-code", "Kilo Code"}};

std::string globalStorage(const Editor& editor, const SystemProbeContext& context) {
  const bool mac = context.platform == TidraPlatform::macOS;
  const std::string settings = joinedPath(context.home(), mac ? "Library/Application Support" : ".config");
  return joinedPath(settings, std::string(editor.folder) + "/User/globalStorage");
}

/// Encodes a name as in session folders: "-" for every UTF-16 unit that is no ASCII letter or digit.
std::string encoded(std::string_view name) {
  std::string text;
  for (const char c : name) {
    const auto byte = static_cast<unsigned char>(c);
    constexpr unsigned firstContinuation = 0x80;
    constexpr unsigned firstLead = 0xC0;
    constexpr unsigned firstLeadOfTwoUnits = 0xF0;
    if (isAsciiAlphanumeric(c)) {
      text += c;
    } else if (byte < firstContinuation || byte >= firstLead) {
      text += byte >= firstLeadOfTwoUnits ? "--" : "-";
    }
  }
  return text;
}

/// Searches the disk for the folder of an encoded path. Bounds the folders read, because names with many dashes are
/// ambiguous (exponential).
class PathDecoder {
 public:
  std::string find(const std::string& folder, std::string_view rest) {
    if (rest.empty()) return folder;
    if (!rest.starts_with('-') || ++foldersRead_ > mostFolders) return {};
    for (const std::string& name : ProbeFiles::subfolderNames(folder)) {
      const std::string code = encoded(name);
      const auto after = rest.substr(1);
      const bool fits = after.starts_with(code) && (after.size() == code.size() || after[code.size()] == '-');
      if (!fits) continue;
      if (auto found = find(joinedPath(folder, name), after.substr(code.size())); !found.empty()) return found;
    }
    return {};
  }

 private:
  static constexpr int mostFolders = 200;
  int foldersRead_ = 0;
};

class AIToolsQuery {
 public:
  explicit AIToolsQuery(const SystemProbeContext& context)
      : context_(context), group_(TidraSystemGroupRoot::forCategory("aiTools")) {}

  ProbeReport run() {
    addClaudeSessions();
    addStaleAgents(joinedPath(context_.home(), ".local"));
    for (const Editor& editor : editors) {
      const std::string storage = globalStorage(editor, context_);
      addStaleAgents(joinedPath(storage, "anysphere.cursor-agent-worker/agent-cli/.local"));
    }
    for (const Editor& editor : editors) addExtensionStorage(editor);
    return std::move(report_);
  }

 private:
  void addClaudeSessions() {
    for (const auto& project : AIToolsProbe::claudeProjects(context_.resolver)) {
      add("claude-project-sessions", project.url, "Claude Code sessions · " + project.displayName,
          ArtifactSafetyTier::warning, "Past Claude Code sessions for this project cannot be resumed",
          ProbeFiles::newestChild(project.url));
    }
  }

  /// Adds builds that the link in "bin" does not use. Without a valid link nothing is stale: the one in use is unknown.
  void addStaleAgents(const std::string& base) {
    const std::string versions = joinedPath(base, "share/cursor-agent/versions");
    const auto linked = realPath(joinedPath(base, "bin/cursor-agent"));
    const auto realVersions = realPath(versions);
    if (!linked || !realVersions || !isSameOrInside(*linked, *realVersions) || *linked == *realVersions) return;
    const std::string_view below = std::string_view(*linked).substr(realVersions->size() + 1);
    const std::string inUse(below.substr(0, below.find('/')));
    for (const std::string& version : ProbeFiles::subfolderNames(versions)) {
      if (version == inUse) continue;
      const std::string folder = joinedPath(versions, version);
      add("cursor-stale-agent-versions", folder, "Cursor agent CLI · stale build " + version, ArtifactSafetyTier::safe,
          "Only the version linked from bin/cursor-agent is used; Cursor re-downloads if needed",
          ProbeFiles::modified(folder));
    }
  }

  void addExtensionStorage(const Editor& editor) {
    for (const AgentExtension& extension : agentExtensions) {
      const std::string folder = joinedPath(globalStorage(editor, context_), extension.id);
      if (!ProbeFiles::isFolder(folder)) continue;
      add("vscode-agent-extension-storage", folder,
          fmt::format("{} tasks & checkpoints ({})", extension.name, editor.name), ArtifactSafetyTier::warning,
          std::nullopt, ProbeFiles::newestChild(folder));
    }
  }

  void add(const char* id, const std::string& folder, std::string label, ArtifactSafetyTier tier,
           std::optional<std::string> hint, std::optional<TimePoint> activity) {
    if (context_.exclusionFilter.bars(folder)) return;
    ProbeItem item;
    item.finding = {.path = folder,
                    .label = std::move(label),
                    .sizeBytes = 0,
                    .ecosystemTag = "ai",
                    .groupRoot = group_,
                    .source = ArtifactSource::systemProbe,
                    .safetyTier = tier,
                    .restoreHint = std::move(hint),
                    .lastActivityDate = activity,
                    .ruleID = id};
    item.measuredFolder = folder;
    report_.items.push_back(std::move(item));
  }

  const SystemProbeContext& context_;
  std::string group_;
  ProbeReport report_;
};

}  // namespace

std::string AIToolsProbe::decodedProjectPath(const std::string& folderName) {
  return PathDecoder().find("/", folderName);
}

std::vector<AIToolsProbe::ClaudeProjectFolder> AIToolsProbe::claudeProjects(const TidraPathResolver& resolver) {
  std::vector<ClaudeProjectFolder> projects;
  const std::string folder = joinedPath(resolver.home, ".claude/projects");
  for (const std::string& name : ProbeFiles::subfolderNames(folder)) {
    const std::string project = decodedProjectPath(name);
    projects.push_back({joinedPath(folder, name), project.empty() ? name : resolver.displayPath(project)});
  }
  return projects;
}

ProbeReport AIToolsProbe::scan(const SystemProbeContext& context) const { return AIToolsQuery(context).run(); }

}  // namespace tidra
