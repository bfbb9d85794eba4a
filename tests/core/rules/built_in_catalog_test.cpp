#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "core/base/text.h"
#include "core/model/ecosystems.h"
#include "core/model/system_scan_categories.h"
#include "core/platform/files.h"
#include "core/platform/path_resolver.h"
#include "core/rules/rule_catalog.h"

namespace tidra {
namespace {

using Ids = std::vector<std::string>;

const RuleCatalog& catalog() { return RuleCatalog::builtIn(); }

/// The number of rules per word, as "ai 6, npm 10".
std::string countsBy(const auto& rules, auto wordOf) {
  std::map<std::string, int> counts;
  for (const auto& rule : rules) ++counts[std::string(wordOf(rule))];
  Ids texts;
  for (const auto& [word, count] : counts) texts.push_back(fmt::format("{} {}", word, count));
  return joined(texts, ", ");
}

const auto tierOf = [](const auto& rule) { return rawValue(rule.tier); };
const auto ecosystemOf = [](const auto& rule) { return rule.ecosystem; };
const auto every = [](const auto&) { return true; };

/// The ids of the matching rules, joined by blanks.
std::string idsOf(const auto& rules, auto wanted) {
  Ids ids;
  for (const auto& rule : rules) {
    if (wanted(rule)) ids.push_back(rule.id);
  }
  return joined(ids, " ");
}

TEST(BuiltInCatalog, HasItsProjectRules) {
  const auto& rules = catalog().projectRules;
  EXPECT_EQ(catalog().schemaVersion, 1);
  EXPECT_EQ(catalog().catalogVersion, "2026.10.27");
  EXPECT_EQ(
      idsOf(rules, every),
      "node_modules pnpm-store-local next nuxt svelte-kit turbo parcel-cache angular-cache nx-cache dist coverage "
      "build target gradle-project pycache dot-venv venv mypy-cache pytest-cache ruff-cache tox vendor pods "
      "spm-build dotnet-obj terraform aider-tags-cache crush chroma chroma_db lancedb claude-worktrees");
  EXPECT_EQ(countsBy(rules, ecosystemOf), "ai 6, dotnet 1, general 4, java 1, npm 10, py 7, ruby 1, swift 2");
  EXPECT_EQ(countsBy(rules, tierOf), "caution 4, safe 26, warning 2");
  EXPECT_EQ(idsOf(rules, [](const auto& rule) { return !rule.appliesTo(TidraPlatform::linux); }), "pods");
  EXPECT_EQ(idsOf(rules, [](const auto& rule) { return !rule.appliesTo(TidraPlatform::macOS); }), "");
  EXPECT_EQ(idsOf(rules, [](const auto& rule) { return rule.requireMarker; }), "dotnet-obj");
  EXPECT_EQ(idsOf(rules, [](const auto& rule) { return rule.parentName == ".claude"; }), "claude-worktrees");
  EXPECT_EQ(idsOf(rules, [](const auto& rule) { return !rule.markers.empty(); }), "build target vendor dotnet-obj");
}

TEST(BuiltInCatalog, HasItsSystemRules) {
  const auto& rules = catalog().systemRules;
  EXPECT_EQ(
      idsOf(rules, every),
      "ollama-models lmstudio-models hf-hub hf-xet hf-datasets llama-cpp-cache torch-hub whisper-models vllm-cache "
      "gpt4all jan claude-desktop-vm-bundles claude-desktop-code-vm claude-cli-cache claude-debug "
      "claude-paste-cache claude-file-history claude-scratch-tmp codex-logs codex-sqlite-logs codex-sessions "
      "codex-desktop-crashpad codex-code-sign-clones gemini-tmp gemini-history opencode-storage goose-sessions "
      "qwen-sessions cursor-state-backup cursor-state-db cursor-history npx-cache playwright-browsers "
      "puppeteer-browsers continue-index openclaw-plugin-captures openclaw-plugin-build-tmp openclaw-logs xdg-trash "
      "electron-crashpad-generic npm-cache yarn-cache pnpm-store bun-cache deno-cache pip-cache uv-cache "
      "poetry-cache nuget-packages nuget-http-cache go-build-cache go-mod-cache cargo-registry gradle-caches "
      "maven-repository ccache pyenv-versions xcode-derived-data xcode-device-support coresimulator-caches "
      "homebrew-cache homebrew-logs");
  EXPECT_EQ(countsBy(rules, [](const auto& rule) { return rule.category; }),
            "agentHost 8, aiTools 32, globalCaches 16, homebrew 2, python 1, xcode 3");
  EXPECT_EQ(countsBy(rules, ecosystemOf), "ai 38, dotnet 2, general 5, go 2, java 2, npm 5, py 4, rust 1, swift 3");
  EXPECT_EQ(countsBy(rules, tierOf), "caution 13, safe 41, warning 8");
  EXPECT_EQ(idsOf(rules, [](const auto& rule) { return rule.mode == SystemPathRule::Mode::children; }),
            "pyenv-versions xcode-derived-data xcode-device-support");
  EXPECT_EQ(idsOf(rules, [](const auto& rule) { return rule.kind == SystemPathRule::Kind::file; }),
            "codex-sqlite-logs cursor-state-backup cursor-state-db");
  const auto absentOn = [&](TidraPlatform platform) {
    const auto selected = catalog().systemRulesFor(platform, std::nullopt);
    return idsOf(rules, [&](const auto& rule) { return std::ranges::count(selected, rule) == 0; });
  };
  EXPECT_EQ(absentOn(TidraPlatform::linux),
            "claude-desktop-vm-bundles claude-desktop-code-vm codex-desktop-crashpad codex-code-sign-clones "
            "xcode-derived-data xcode-device-support coresimulator-caches homebrew-logs");
  EXPECT_EQ(absentOn(TidraPlatform::macOS), "xdg-trash");
}

TEST(BuiltInCatalog, NoRuleNamesAWholeHomeOrTemporaryFolder) {
  const TidraPathResolver resolver{"/home/ada", {}};
  for (const auto& rule : catalog().systemRules) {
    for (const auto& [platform, templates] : rule.paths) {
      for (const auto& text : templates) {
        if (text.starts_with('$')) continue;
        const auto path = resolver.resolve(text).value_or("");
        EXPECT_GT(std::ranges::count(path, '/'), path.starts_with("/home/ada") ? 2 : 1) << text;
      }
    }
    EXPECT_TRUE(std::ranges::count(ecosystemTable, rule.ecosystem, &TidraEcosystemDescriptor::key)) << rule.id;
    EXPECT_NE(systemScanCategoryName(rule.category), rule.category) << rule.id;
    EXPECT_TRUE(rule.restoreHint && !rule.restoreHint->empty()) << rule.id;
  }
}

/// The rule ids in the first table of a section, joined by blanks.
std::string firstCells(const std::string& document, const std::string& heading) {
  const auto start = document.find("\n## " + heading + "\n");
  if (start == std::string::npos) return "no such section";
  Ids cells;
  for (const auto line : split(std::string_view(document).substr(start), '\n')) {
    if (line.starts_with("| `")) {
      cells.emplace_back(line.substr(3, line.find('`', 3) - 3));
    } else if (!cells.empty()) {
      break;
    }
  }
  return joined(cells, " ");
}

TEST(BuiltInCatalog, TheDocumentListsExactlyItsRulesAndSkips) {
  const auto document = readFile(TIDRA_SOURCE_DIR "/docs/rules.md");
  ASSERT_TRUE(document);
  EXPECT_EQ(firstCells(*document, "Built-in project rules"), idsOf(catalog().projectRules, every));
  EXPECT_EQ(firstCells(*document, "Built-in system rules"), idsOf(catalog().systemRules, every));
  for (const auto& [platform, folders] : catalog().walkSkipByPlatform)
    EXPECT_NE(document->find("| `" + joined(folders, "`, `") + "` |"), std::string::npos) << platform;
  EXPECT_EQ(catalog().walkSkip(TidraPlatform::linux).size(), 69U);
  EXPECT_EQ(catalog().walkSkip(TidraPlatform::macOS).size(), 59U);
}

}  // namespace
}  // namespace tidra
