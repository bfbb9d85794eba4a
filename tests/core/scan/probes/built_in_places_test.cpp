// Fills every place of the built-in system rules and expects to find it.
#include <fmt/format.h>

#include <algorithm>

#include "core/base/text.h"
#include "core/model/system_group_root.h"
#include "core/model/system_scan_categories.h"
#include "core/platform/path_text.h"
#include "core/scan/system_scanner.h"
#include "tests/core/scan/probes/probe_fixture.h"
#include "tests/support/matchers.h"

namespace tidra {
namespace {

// Rules with their places below the tree ("~" for the home folder), each with its label if that differs from the
// rule's: "·" means the rule's with the name of the place. Absolute paths, such as /tmp, are below "root".

constexpr std::string_view onBoth = R"(
ollama-models | ~/.ollama/models; lmstudio-models | ~/.lmstudio/models | ~/.cache/lm-studio/models;
hf-hub | ~/.cache/huggingface/hub; hf-xet | ~/.cache/huggingface/xet; hf-datasets | ~/.cache/huggingface/datasets;
torch-hub | ~/.cache/torch/hub; whisper-models | ~/.cache/whisper; vllm-cache | ~/.cache/vllm;
gpt4all | ~/.cache/gpt4all; claude-debug | ~/.claude/debug; claude-paste-cache | ~/.claude/paste-cache;
claude-file-history | ~/.claude/file-history; codex-logs | ~/.codex/log;
codex-sqlite-logs | ~/.codex/logs_1.sqlite = · | ~/.codex/logs_1.sqlite-wal = ·; codex-sessions | ~/.codex/sessions;
gemini-tmp | ~/.gemini/tmp; gemini-history | ~/.gemini/history; opencode-storage | ~/.local/share/opencode/storage;
qwen-sessions | ~/.qwen; npx-cache | ~/.npm/_npx; puppeteer-browsers | ~/.cache/puppeteer;
continue-index | ~/.continue/index; openclaw-plugin-captures | ~/.openclaw/tmp/plugin-captures;
openclaw-plugin-build-tmp | T/openclaw-plugin-build-7 = ·; openclaw-logs | ~/.openclaw/logs;
npm-cache | ~/.npm/_cacache; yarn-cache | ~/.yarn/berry/cache; pnpm-store | ~/.pnpm-store;
bun-cache | ~/.bun/install/cache; uv-cache | ~/.cache/uv; nuget-packages | ~/.nuget/packages;
nuget-http-cache | ~/.local/share/NuGet/http-cache | ~/.local/share/NuGet/v3-cache; go-mod-cache | ~/go/pkg/mod;
cargo-registry | ~/.cargo/registry; gradle-caches | ~/.gradle/caches; maven-repository | ~/.m2/repository;
pyenv-versions | ~/.pyenv/versions/3.11.7 = pyenv 3.11.7;
pyenv-versions | ~/.pyenv/versions/system-link-target = pyenv system-link-target
)";

constexpr std::string_view onLinux = R"(
ollama-models | root/usr/share/ollama/.ollama/models; hf-hub | hf/hub; llama-cpp-cache | ~/.cache/llama.cpp;
gpt4all | ~/.local/share/nomic.ai/GPT4All;
jan | ~/.local/share/Jan/data/llamacpp/models | ~/.config/Jan/data/llamacpp/models;
claude-cli-cache | ~/.cache/claude-cli-nodejs; claude-scratch-tmp | root/tmp/claude-1000 = · | T/claude-x = ·;
goose-sessions | ~/.local/share/goose; cursor-state-backup | ~/.config/Cursor/User/globalStorage/state.vscdb.backup;
cursor-state-db | ~/.config/Cursor/User/globalStorage/state.vscdb; cursor-history | ~/.config/Cursor/User/History;
playwright-browsers | ~/.cache/ms-playwright/chromium-1091 = · | ~/.cache/ms-playwright/chromium_headless_shell-1 = ·;
playwright-browsers | ~/.cache/ms-playwright/firefox-1 = · | ~/.cache/ms-playwright/webkit-1 = ·;
playwright-browsers | ~/.cache/ms-playwright/ffmpeg-1009 = ·; openclaw-plugin-captures | claw/tmp/plugin-captures;
openclaw-plugin-build-tmp | root/tmp/openclaw-plugin-build-8 = ·; openclaw-logs | claw/logs;
xdg-trash | ~/.local/share/Trash/files;
electron-crashpad-generic | ~/.config/Slack/Crashpad/pending = Slack crash dumps;
electron-crashpad-generic | ~/.config/discord/Crashpad/completed = discord crash dumps; yarn-cache | ~/.cache/yarn;
pnpm-store | ~/.local/share/pnpm/store;
deno-cache | ~/.cache/deno/deps | ~/.cache/deno/remote | ~/.cache/deno/npm | ~/.cache/deno/gen | ~/.cache/deno/dl;
pip-cache | ~/.cache/pip; uv-cache | uv; poetry-cache | ~/.cache/pypoetry/cache | ~/.cache/pypoetry/artifacts;
go-build-cache | go-build | ~/.cache/go-build; ccache | ~/.cache/ccache; homebrew-cache | ~/.cache/Homebrew
)";

constexpr std::string_view onMacOS = R"(
llama-cpp-cache | ~/Library/Caches/llama.cpp; gpt4all | ~/Library/Application Support/nomic.ai/GPT4All;
jan | ~/Library/Application Support/Jan/data/llamacpp/models;
claude-desktop-vm-bundles | ~/Library/Application Support/Claude/vm_bundles;
claude-desktop-code-vm | ~/Library/Application Support/Claude/claude-code-vm;
claude-cli-cache | ~/Library/Caches/claude-cli-nodejs; claude-scratch-tmp | root/private/tmp/claude-501 = ·;
codex-desktop-crashpad | ~/Library/Application Support/com.openai.codex/web/Crashpad/pending;
codex-desktop-crashpad | ~/Library/Application Support/com.openai.codex/web/Crashpad/completed;
codex-desktop-crashpad | ~/Library/Application Support/Codex/Crashpad/pending;
codex-desktop-crashpad | ~/Library/Application Support/Codex/Crashpad/completed;
codex-code-sign-clones | X/com.openai.codex.code_sign_clone; goose-sessions | ~/Library/Application Support/goose;
cursor-state-backup | ~/Library/Application Support/Cursor/User/globalStorage/state.vscdb.backup;
cursor-state-db | ~/Library/Application Support/Cursor/User/globalStorage/state.vscdb;
cursor-history | ~/Library/Application Support/Cursor/User/History;
playwright-browsers | ~/Library/Caches/ms-playwright/chromium-1091 = · | ~/Library/Caches/ms-playwright/firefox-1 = ·;
playwright-browsers | ~/Library/Caches/ms-playwright/webkit-1 = · | ~/Library/Caches/ms-playwright/ffmpeg-1009 = ·;
openclaw-plugin-build-tmp | root/private/tmp/openclaw-plugin-build-8 = ·;
electron-crashpad-generic | ~/Library/Application Support/Slack/Crashpad/pending = Slack crash dumps;
electron-crashpad-generic | ~/Library/Application Support/discord/Crashpad/completed = discord crash dumps;
yarn-cache | ~/Library/Caches/Yarn; pnpm-store | ~/Library/pnpm/store;
deno-cache | ~/Library/Caches/deno/deps | ~/Library/Caches/deno/remote | ~/Library/Caches/deno/npm;
deno-cache | ~/Library/Caches/deno/gen | ~/Library/Caches/deno/dl; pip-cache | ~/Library/Caches/pip;
poetry-cache | ~/Library/Caches/pypoetry/cache | ~/Library/Caches/pypoetry/artifacts;
go-build-cache | ~/Library/Caches/go-build; ccache | ~/Library/Caches/ccache;
xcode-derived-data | ~/Library/Developer/Xcode/DerivedData/App-abc = DerivedData/App-abc;
xcode-derived-data | ~/Library/Developer/Xcode/DerivedData/ModuleCache.noindex = DerivedData/ModuleCache.noindex;
xcode-device-support | ~/Library/Developer/Xcode/iOS DeviceSupport/17.0 (21A329) = DeviceSupport/17.0 (21A329);
coresimulator-caches | ~/Library/Developer/CoreSimulator/Caches; homebrew-cache | ~/Library/Caches/Homebrew;
homebrew-logs | ~/Library/Logs/Homebrew
)";

/// Entries beside the places that must not match.
constexpr std::string_view decoys =
    "~/.codex/logs_1.sqlite.bak/f ~/.cache/ms-playwright/chromium/f ~/.cache/deno/other/f "
    "~/.config/Slack/Crashpad/new/f "
    "root/tmp/claude/f T/openclaw-plugin-builds/f ~/.gemini/settings/f";

const SystemPathRule& ruleOf(std::string_view id) {
  const auto& rules = RuleCatalog::builtIn().systemRules;
  const auto rule = std::find_if(rules.begin(), rules.end(), [&](const auto& candidate) { return candidate.id == id; });
  if (rule == rules.end()) throw std::out_of_range(std::string(id));
  return *rule;
}

/// The built-in rules with absolute places moved below a folder.
RuleCatalog movedBelow(const std::string& folder) {
  RuleCatalog catalog = RuleCatalog::builtIn();
  for (SystemPathRule& rule : catalog.systemRules) {
    for (auto& [platform, templates] : rule.paths) {
      for (std::string& text : templates) text = (text.starts_with('/') ? folder : "") + text;
    }
  }
  return catalog;
}

class BuiltInPlaces : public testing::TestWithParam<TidraPlatform> {
 protected:
  /// Fills the places and records the expected findings.
  void fill(std::string_view places) {
    for (const std::string_view text : split(places, ';')) {
      const auto columns = split(text, '|');
      const SystemPathRule& rule = ruleOf(trimmed(columns[0]));
      filledRules_.insert(rule.id);
      for (std::size_t i = 1; i < columns.size(); ++i) fillPlace(rule, trimmed(columns[i]));
    }
  }

  void fillPlace(const SystemPathRule& rule, std::string_view column) {
    const auto equals = std::min(column.find(" = "), column.size());
    const std::string place = inTree(column.substr(0, equals));
    std::string label = rule.label;
    if (equals < column.size()) label = column.substr(equals + 3);
    if (label == "·") label = rule.label + " · " + std::string(lastPathComponent(place));
    std::uint64_t size = 1000 + expected_.size();
    if (rule.kind == SystemPathRule::Kind::file) {
      fixture_.tree().writeFileOfSize(place, size);
    } else {
      fixture_.tree().writeFileOfSize(place + "/f", size);
      fixture_.tree().writeFileOfSize(place + "/deeper/.g", 7);
      size += 7;
    }
    expected_.push_back(fmt::format("{} | @/{} | {} | {} | {} | {}", rule.id, place, label, rawValue(rule.tier), size,
                                    TidraSystemGroupRoot::forCategory(rule.category)));
  }

  static std::string inTree(std::string_view place) {
    return place.starts_with('~') ? "home" + std::string(place.substr(1)) : std::string(place);
  }

  ProbeFixture fixture_;
  std::vector<std::string> expected_;
  std::set<std::string> filledRules_;
};

TEST_P(BuiltInPlaces, EachGivesExactlyOneFinding) {
  for (const char* tool : {"conda", "brew", "npm"}) fixture_.script(tool, "exit 1");
  const auto& tree = fixture_.tree();
  fixture_.catalog = movedBelow(tree.makeFolder("root"));
  fixture_.context.platform = GetParam();
  fixture_.context.resolver.environment.insert({{"HF_HOME", tree.path("hf")},
                                                {"UV_CACHE_DIR", tree.path("uv/")},
                                                {"GOCACHE", tree.path("go-build")},
                                                {"OPENCLAW_STATE_DIR", tree.path("claw")}});
  fixture_.context.resolver.environment["TMPDIR"] = tree.makeFolder("T") + "/";
  fill(onBoth);
  fill(GetParam() == TidraPlatform::linux ? onLinux : onMacOS);
  for (const std::string_view decoy : splitNonEmpty(decoys, ' ')) tree.writeFile(inTree(decoy), "decoy");

  SystemArtifactScanner::Request request;
  fixture_.handTo(request.context);
  for (const auto& category : systemScanCategoryTable) request.categories.emplace(category.key);
  request.categories.erase("docker");  // the machine may have an engine
  std::vector<std::string> found;
  for (const auto& artifact : SystemArtifactScanner(request).scan({}).findings) {
    const ScanArtifactFinding& finding = artifact.finding;
    EXPECT_EQ(finding.source, ArtifactSource::systemProbe);
    EXPECT_EQ(finding.ecosystemTag, ruleOf(*finding.ruleID).ecosystem);
    EXPECT_EQ(finding.restoreHint, ruleOf(*finding.ruleID).restoreHint);
    found.push_back(
        fixture_.shown(fmt::format("{} | {} | {} | {} | {} | {}", *finding.ruleID, finding.path, finding.label,
                                   rawValue(finding.safetyTier), finding.sizeBytes, *finding.groupRoot)));
  }
  EXPECT_THAT(found, UnorderedElementsAreArray(expected_));
  for (const auto& rule : fixture_.catalog.systemRulesFor(GetParam(), std::nullopt))
    EXPECT_TRUE(filledRules_.contains(rule.id)) << "no place of " << rule.id << " was filled";
}

INSTANTIATE_TEST_SUITE_P(On, BuiltInPlaces, testing::Values(TidraPlatform::linux, TidraPlatform::macOS),
                         [](const auto& platform) { return std::string(rawValue(platform.param)); });

}  // namespace
}  // namespace tidra
